-- Captures of cellscope's hub (link type USER0) in Wireshark. docs/protocol.md of the sources has their form.

-- TABLES

-- Which events answer a request; the first one does. An error answers the request before it.
local answers = {
  attr_req = { attr_event = true },
  suid_req = { suid_event = true },
  on_change_config = { serving_neighboring_cell_info = true },
  self_test_config = { sensor_event = true },
  signal_strength_config = { signal_strength_config_status = true },
  sensor_config = { voice_calls = true, rrc_states_info = true },
  streaming_config = { serving_neighboring_cell_info = true },
  get_cell_location_info = { get_cell_location_info_response = true },
}

local function expect_known(names, kinds)
  for name in pairs(names) do
    local is_known = false
    for _, kind in pairs(kinds) do is_known = is_known or kind.name == name end
    assert(is_known, "kelvane.lua: expected the name of a message, found " .. name)
  end
end
expect_known(answers, requests)
for _, names in pairs(answers) do expect_known(names, events) end

local kelvane = Proto("kelvane", "Sensor hub")

-- ---- fields ----

local head = {
  version = ProtoField.uint8("kelvane.version", "Version"),
  direction = ProtoField.uint8("kelvane.direction", "Direction", base.DEC, { "event", "request" }),
  session = ProtoField.uint32("kelvane.session", "Session"),
  sensor = ProtoField.string("kelvane.sensor", "Sensor"),
  msg_id = ProtoField.uint32("kelvane.msg_id", "Message id"),
  name = ProtoField.string("kelvane.name", "Message"),
  request = ProtoField.framenum("kelvane.request_in", "Answers the request in", base.NONE, frametype.REQUEST),
  answer = ProtoField.framenum("kelvane.answer_in", "Answered in", base.NONE, frametype.RESPONSE),
  after = ProtoField.relative_time("kelvane.answer_time", "Time since the request"),
  unknown = ProtoField.bytes("kelvane.unknown", "Unknown"),
}
local unreadable = ProtoExpert.new("kelvane.unreadable", "Cannot be read", expert.group.MALFORMED, expert.severity.WARN)

local makers = {
  double = ProtoField.double, float = ProtoField.float, bool = ProtoField.bool,
  int32 = ProtoField.int32, sint32 = ProtoField.int32, sfixed32 = ProtoField.int32, enum = ProtoField.int32,
  int64 = ProtoField.int64, sint64 = ProtoField.int64, sfixed64 = ProtoField.int64,
  uint32 = ProtoField.uint32, fixed32 = ProtoField.uint32, uint64 = ProtoField.uint64, fixed64 = ProtoField.uint64,
  string = ProtoField.string, bytes = ProtoField.bytes, message = ProtoField.none,
}

local all = {}
for _, field in pairs(head) do table.insert(all, field) end
for message, fields in pairs(messages) do
  local prefix = "kelvane." .. message:gsub("^mox_wwan_", ""):gsub("^sns_", "") .. "."
  for _, field in pairs(fields) do
    if field.type == "enum" then
      field.shown = ProtoField.int32(prefix .. field.name, field.name, base.DEC, enumerations[field.of])
    else
      field.shown = makers[field.type](prefix .. field.name, field.name)
    end
    table.insert(all, field.shown)
  end
end
kelvane.fields = all
kelvane.experts = { unreadable }

-- ---- protobuf's wire ----

-- The number at `at`, and where it ends; nil if it does not.
local function varint(buffer, at)
  local number = UInt64(0)
  for i = 0, 9 do
    if at + i >= buffer:len() then return nil end
    local byte = buffer(at + i, 1):uint()
    number = number:bor(UInt64(byte % 128):lshift(7 * i))
    if byte < 128 then return number, at + i + 1 end
  end
  return nil
end

local fixed_size = { [1] = 8, [5] = 4 }

-- The fields of a message, each with its number, form on the wire, place and value; nil if it cannot be read.
local function fields_in(buffer)
  local found, at = {}, 0
  while at < buffer:len() do
    local begin, key, value = at, nil, nil
    key, at = varint(buffer, at)
    if key == nil then return nil end
    local form, from = key:lower() % 8, at
    if form == 0 then
      value, at = varint(buffer, at)
      if value == nil then return nil end
    elseif form == 2 then
      local size
      size, from = varint(buffer, at)
      if size == nil or size:higher() > 0 or size:lower() > buffer:len() - from then return nil end
      at = from + size:lower()
    elseif fixed_size[form] and fixed_size[form] <= buffer:len() - at then
      at = at + fixed_size[form]
    else
      return nil
    end
    table.insert(found, {
      number = (key:lower() - form) / 8, form = form, whole = buffer(begin, at - begin), value = value,
      size = at - from, content = at > from and buffer(from, at - from) or nil,
    })
  end
  return found
end

local function signed32(number)
  local low = number:lower()
  return low >= 0x80000000 and low - 0x100000000 or low
end

local function zigzag(number)
  local half = Int64(number:lower(), number:higher()):rshift(1)
  return number:lower() % 2 == 0 and half or half:bxor(Int64(-1))
end

-- What stands for the number of a varint.
local values = {
  bool = function(number) return number ~= UInt64(0) end,
  enum = signed32,
  int32 = signed32,
  sint32 = function(number) return zigzag(number):tonumber() end,
  int64 = function(number) return Int64(number:lower(), number:higher()) end,
  sint64 = zigzag,
  uint32 = function(number) return number:lower() end,
  uint64 = function(number) return number end,
}

-- ---- trees ----

local show

local deepest = 60

local function show_unknown(found, tree)
  tree:add(head.unknown, found.whole):set_text(string.format("Field %d, unknown: %s", found.number, found.whole:bytes():tohex()))
end

local function show_packed(field, found, tree)
  local at = 0
  while at < found.size do
    local number, after
    if values[field.type] then
      number, after = varint(found.content, at)
    elseif field.type:find("64") or field.type == "double" then
      after = at + 8
    else
      after = at + 4
    end
    if after == nil or after > found.size then return show_unknown(found, tree) end
    local place = found.content(at, after - at)
    if number then tree:add(field.shown, place, values[field.type](number)) else tree:add_le(field.shown, place) end
    at = after
  end
end

local function show_field(field, found, tree, kind, depth)
  if field.type == "message" and found.form == 2 and depth < deepest then
    show(field.of, found.content, tree:add(field.shown, found.whole), kind, depth + 1)
  elseif field.name == "payload" and field.type == "bytes" and found.form == 2 then
    local branch = tree:add(field.shown, found.content or found.whole)
    if kind and kind.payload then show(kind.payload, found.content, branch, nil, depth + 1) end
  elseif (field.type == "string" or field.type == "bytes") and found.form == 2 then
    if found.content then tree:add(field.shown, found.content) else tree:add(field.shown, found.whole, "") end
  elseif found.form == 0 and values[field.type] then
    tree:add(field.shown, found.whole, values[field.type](found.value))
  elseif fixed_size[found.form] and not values[field.type] and field.type ~= "message" then
    tree:add_le(field.shown, found.content)
  elseif found.form == 2 and field.type ~= "message" then
    show_packed(field, found, tree)
  else
    show_unknown(found, tree)
  end
end

-- The number of a field that bears that name, the last if there are several, as protobuf has it; nil if there is none.
local function number_of(message, name, found)
  local number
  for _, one in ipairs(found) do
    local field = messages[message][one.number]
    if field and field.name == name and one.form == 0 then number = one.value:lower() end
  end
  return number
end

-- A message in `buffer`, nil if it is empty. `kind` is that of the payload in it.
function show(message, buffer, tree, kind, depth)
  if buffer == nil then return end
  local found = fields_in(buffer)
  if found == nil then
    tree:add(head.unknown, buffer):add_proto_expert_info(unreadable)
    return
  end
  if message == "sns_client_event_msg.sns_client_event" then kind = events[number_of(message, "msg_id", found) or 0] end
  for _, one in ipairs(found) do
    local field = messages[message][one.number]
    if field then show_field(field, one, tree, kind, depth) else show_unknown(one, tree) end
  end
end

-- ---- requests and answers ----

-- Requests without an answer that may still get one, of a session and sensor. Answers come soon or never.
local most_open = 256

local open = {}        -- by session and sensor: the last of the requests without an answer, in order
local answer_of = {}   -- by the request's frame: the answer's
local request_of = {}  -- by the answer's frame: the request's frame and time

function kelvane.init()
  open, answer_of, request_of = {}, {}, {}
end

local function note_request(link, name, pinfo)
  if not answers[name] then return end
  open[link] = open[link] or {}
  table.insert(open[link], { answers = answers[name], frame = pinfo.number, time = pinfo.rel_ts })
  if #open[link] > most_open then table.remove(open[link], 1) end
end

local function note_event(link, name, pinfo)
  local waiting = open[link] or {}
  for i = 1, #waiting do
    if waiting[i].answers[name] or (name == "error_event" and i == #waiting) then
      local request = table.remove(waiting, i)
      answer_of[request.frame] = pinfo.number
      request_of[pinfo.number] = request
      return
    end
  end
end

-- ---- a record ----

-- Id and kind of every message in a record.
local function messages_in(is_request, found)
  local names = {}
  if is_request then
    local id = number_of("sns_client_request_msg", "msg_id", found)
    if id then table.insert(names, { id = id, kind = requests[id] }) end
    return names
  end
  for _, one in ipairs(found) do
    local field = messages["sns_client_event_msg"][one.number]
    local event = field and field.name == "events" and one.content and fields_in(one.content)
    if event then
      local id = number_of(field.of, "msg_id", event) or 0
      table.insert(names, { id = id, kind = events[id] })
    end
  end
  return names
end

local function show_partner(is_request, pinfo, tree)
  local shown = ""
  if is_request and answer_of[pinfo.number] then
    tree:add(head.answer, answer_of[pinfo.number]):set_generated()
    shown = ", answered in " .. answer_of[pinfo.number]
  elseif not is_request and request_of[pinfo.number] then
    local request = request_of[pinfo.number]
    local passed = pinfo.rel_ts - request.time
    tree:add(head.request, request.frame):set_generated()
    tree:add(head.after, NSTime(math.floor(passed), math.floor(passed % 1 * 1e9))):set_generated()
    shown = ", answers " .. request.frame
  end
  return shown
end

local head_size = 24

function kelvane.dissector(buffer, pinfo, root)
  pinfo.cols.protocol = "KELVANE"
  if buffer:len() < head_size or buffer(0, 1):uint() ~= 1 then return 0 end
  local is_request = buffer(1, 1):uint() == 2
  local session = buffer(4, 4):le_uint()
  local sensor = string.format("%08x%08x%08x%08x", buffer(20, 4):le_uint(), buffer(16, 4):le_uint(),
    buffer(12, 4):le_uint(), buffer(8, 4):le_uint())
  local client = "session " .. session
  pinfo.cols.src = is_request and client or "hub"
  pinfo.cols.dst = is_request and "hub" or client

  local tree = root:add(kelvane, buffer(), (is_request and "Request of " or "Event for ") .. client)
  tree:add(head.version, buffer(0, 1))
  tree:add(head.direction, buffer(1, 1))
  tree:add_le(head.session, buffer(4, 4))
  tree:add(head.sensor, buffer(8, 16), sensor)

  local message = buffer:len() > head_size and buffer(head_size) or nil
  local found = message and fields_in(message) or {}
  local link = session .. " " .. sensor
  local names = {}
  for _, one in ipairs(messages_in(is_request, found)) do
    local name = one.kind and one.kind.name or "unknown"
    tree:add(head.msg_id, one.id):set_generated()
    tree:add(head.name, name):set_generated()
    table.insert(names, one.id .. " " .. name)
    if not pinfo.visited then (is_request and note_request or note_event)(link, name, pinfo) end
  end
  local partner = show_partner(is_request, pinfo, tree)
  pinfo.cols.info = (#names > 0 and table.concat(names, ", ") or "unreadable") .. partner

  local envelope = is_request and "sns_client_request_msg" or "sns_client_event_msg"
  local kind = is_request and requests[number_of(envelope, "msg_id", found) or 0] or nil
  show(envelope, message, tree, kind, 0)
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, kelvane)
