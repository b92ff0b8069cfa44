-- Captures of cellscope's hub (link type USER0) in Wireshark. docs/protocol.md of the sources has their form.

-- TABLES

-- Which events a request asks for: always or if the flag `wanted` is set in its payload, with the same value of the field
-- `about`. If it `goes_on`, always or by such a flag, the first one answers and later ones only report.
local cells = { event = "serving_neighboring_cell_info", goes_on = true }
local answers = {
  attr_req = { { event = "attr_event" } },
  suid_req = { { event = "suid_event", about = "data_type", goes_on = "register_updates" } },
  on_change_config = { cells },
  self_test_config = { { event = "sensor_event" } },
  signal_strength_config = { { event = "signal_strength_config_status" } },
  sensor_config = registrations,
  streaming_config = { cells },
  get_cell_location_info = { { event = "get_cell_location_info_response" } },
}

local function kind_of(kinds, name)
  for _, kind in pairs(kinds) do
    if kind.name == name then return kind end
  end
  error("kelvane.lua: expected the name of a message, found " .. name)
end

local function expect_field(kind, name)
  if type(name) ~= "string" then return end
  for _, field in pairs(messages[kind.payload]) do
    if field.name == name then return end
  end
  error("kelvane.lua: expected a field of " .. kind.payload .. ", found " .. name)
end

local about_of, always_goes_on = {}, {}  -- by event, as of the request
for name, asked in pairs(answers) do
  for _, ask in ipairs(asked) do
    local request, event = kind_of(requests, name), kind_of(events, ask.event)
    for _, key in ipairs({ "wanted", "about", "goes_on" }) do expect_field(request, ask[key]) end
    expect_field(event, ask.about)
    about_of[ask.event], always_goes_on[ask.event] = ask.about, ask.goes_on == true
  end
end

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

-- The field that bears that name and has that form, the last if there are several, as protobuf has it; nil if there is none.
local function last_of(message, name, form, found)
  local last
  for _, one in ipairs(found) do
    local field = messages[message][one.number]
    if field and field.name == name and one.form == form then last = one end
  end
  return last
end

local function number_of(message, name, found)
  local last = last_of(message, name, 0, found)
  return last and last.value:lower()
end

local function is_set(message, name, found)
  local last = last_of(message, name, 0, found)
  return last ~= nil and last.value ~= UInt64(0)
end

-- In hexadecimal, so that any bytes will do; empty if it is not there.
local function bytes_of(message, name, found)
  local last = last_of(message, name, 2, found)
  return last and last.content and last.content:bytes():tohex() or ""
end

-- What is in a field of bytes or a message, none if it is not there; nil if it cannot be read.
local function content_of(message, name, found)
  local last = last_of(message, name, 2, found)
  if last and last.content then return fields_in(last.content) end
  return {}
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

-- Nothing on the wire says which request an event answers. So it is said only of an event that one request alone can have led
-- to; what a lost answer leaves open stays open.

-- By session and sensor:
-- `waiting`: by frame, the requests that nothing is known to have answered; `waiting_count`: how many these are.
-- `subjects`: what was asked for. Each has the requests that `asked` for it, how many events have `told` of it since, and
-- whether it `goes_on`; if not, all that is forgotten once there are as many events as requests.
-- `tells_unasked`: errors, too, may come without a request. `is_in_doubt`: one of several that waited has got an error.
-- `last`: the last event, if no request came after it. The same bytes once more are a copy.
local links = {}

-- By frame, without tables, which would slow down Lua's collector. Frames stand in a text, as the Info column has them.
local answers_to, requests_of, asked_at = {}, {}, {}

-- Of so many requests that wait nothing is said any more.
local most_open = 256

function kelvane.init()
  links, answers_to, requests_of, asked_at = {}, {}, {}, {}
end

local function link_of(name)
  links[name] = links[name] or { waiting = {}, waiting_count = 0, subjects = {} }
  return links[name]
end

local function subject_of(link, event, message, payload)
  local about = about_of[event]
  local key = about and event .. " " .. bytes_of(message, about, payload) or event
  link.subjects[key] = link.subjects[key] or { key = key, asked = {}, told = 0, goes_on = always_goes_on[event] }
  return link.subjects[key]
end

local function settle(link, request)
  if not link.waiting[request.frame] then return end
  link.waiting[request.frame] = nil
  link.waiting_count = link.waiting_count - 1
  if link.waiting_count == 0 then link.is_in_doubt = false end
end

local function add_frame(frames, at, frame) frames[at] = (frames[at] and frames[at] .. ", " or "") .. frame end

local function join(link, request, pinfo)
  settle(link, request)
  add_frame(answers_to, request.frame, pinfo.number)
  add_frame(requests_of, pinfo.number, request.frame)
  asked_at[request.frame] = request.time
end

local function ask_for(subject, request)
  if #subject.asked == most_open then
    subject.goes_on = true
  else
    table.insert(subject.asked, request)
    table.insert(request.subjects, subject)
  end
end

-- Of a payload that cannot be read nothing is asked that its fields would have to say.
local function note_asked(link, request, kind, fields)
  for _, ask in ipairs(answers[kind.name] or {}) do
    local has_fields, payload = ask.wanted or ask.about, nil
    if has_fields then
      local body = content_of("sns_client_request_msg", "request", fields)
      payload = body and content_of("sns_std_request", "payload", body)
    end
    if not has_fields or payload and (not ask.wanted or is_set(kind.payload, ask.wanted, payload)) then
      local subject = subject_of(link, ask.event, kind.payload, payload)
      if not subject.goes_on and ask.goes_on then subject.goes_on = is_set(kind.payload, ask.goes_on, payload) end
      ask_for(subject, request)
    end
    -- Where it reports cells the hub tells of errors, too, that are about no request.
    link.tells_unasked = link.tells_unasked or ask == cells
  end
end

-- A request of any kind, even of none, may be answered with an error.
local function note_request(link, one, pinfo)
  local request = { frame = pinfo.number, time = pinfo.rel_ts, subjects = {} }
  link.waiting[request.frame] = request
  link.waiting_count = link.waiting_count + 1
  if link.waiting_count > most_open then link.waiting, link.waiting_count, link.tells_unasked = {}, 0, true end
  link.last = nil
  if one.kind then note_asked(link, request, one.kind, one.fields) end
end

local function forget(asked, request)
  for i = #asked, 1, -1 do
    if asked[i] == request then return table.remove(asked, i) end
  end
end

local function note_error(link, pinfo)
  if link.waiting_count == 0 then link.tells_unasked = true end
  if link.waiting_count > 1 then link.is_in_doubt = true end
  if link.waiting_count ~= 1 or link.is_in_doubt or link.tells_unasked then return end
  local _, request = next(link.waiting)
  join(link, request, pinfo)
  for _, subject in ipairs(request.subjects) do forget(subject.asked, request) end
end

local function note_told(link, subject, pinfo)
  local asked = subject.asked
  subject.told = subject.told + 1
  if #asked == 0 then link.tells_unasked = true end
  if #asked == 1 and subject.told == 1 then join(link, asked[1], pinfo) end
  if subject.goes_on or subject.told < #asked then return end
  for _, request in ipairs(asked) do settle(link, request) end
  link.subjects[subject.key] = nil
end

local function note_event(link, one, pinfo)
  local bytes = one.whole:bytes():tohex()
  if bytes == link.last then return end
  link.last = bytes
  if not one.kind then return end
  if one.kind.name == "error_event" then return note_error(link, pinfo) end
  local about, payload = about_of[one.kind.name], nil
  if about then payload = content_of("sns_client_event_msg.sns_client_event", "payload", one.fields) end
  if payload or not about then note_told(link, subject_of(link, one.kind.name, one.kind.payload, payload), pinfo) end
end

-- ---- a record ----

-- Every message in a record, with its id, its kind and its fields; without an id a request that has none.
local function messages_in(is_request, found, message)
  if is_request then
    local id = number_of("sns_client_request_msg", "msg_id", found)
    return { { id = id, kind = requests[id or 0], fields = found, whole = message } }
  end
  local all_events = {}
  for _, one in ipairs(found) do
    local field = messages["sns_client_event_msg"][one.number]
    local event = field and field.name == "events" and one.content and fields_in(one.content)
    if event then
      local id = number_of(field.of, "msg_id", event) or 0
      table.insert(all_events, { id = id, kind = events[id], fields = event, whole = one.content })
    end
  end
  return all_events
end

-- Shows which records answer this one or are answered by it; how the Info column says so.
local function show_partners(is_request, pinfo, tree)
  local frames = (is_request and answers_to or requests_of)[pinfo.number]
  if not frames then return "" end
  for text in frames:gmatch("%d+") do
    local frame = tonumber(text)
    tree:add(is_request and head.answer or head.request, frame):set_generated()
    if not is_request then
      local passed = pinfo.rel_ts - asked_at[frame]
      tree:add(head.after, NSTime(math.floor(passed), math.floor(passed % 1 * 1e9))):set_generated()
    end
  end
  return (is_request and ", answered in " or ", answers ") .. frames
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
  local link = link_of(session .. " " .. sensor)
  local names = {}
  for _, one in ipairs(messages_in(is_request, found, message)) do
    if one.id then
      local name = one.kind and one.kind.name or "unknown"
      tree:add(head.msg_id, one.id):set_generated()
      tree:add(head.name, name):set_generated()
      table.insert(names, one.id .. " " .. name)
    end
    if not pinfo.visited then (is_request and note_request or note_event)(link, one, pinfo) end
  end
  local partners = show_partners(is_request, pinfo, tree)
  pinfo.cols.info = (#names > 0 and table.concat(names, ", ") or "unreadable") .. partners

  local envelope = is_request and "sns_client_request_msg" or "sns_client_event_msg"
  local kind = is_request and requests[number_of(envelope, "msg_id", found) or 0] or nil
  show(envelope, message, tree, kind, 0)
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, kelvane)
