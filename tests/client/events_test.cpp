// Event buffers and what they print.

#include "common/log_time.h"
#include "events/attributes.h"
#include "events/cell_report.h"
#include "events/event_cb.h"
#include "tests/client/fixture.h"
#include "tests/event_buffers.h"

namespace cellscope::test {
namespace {

using Cells = mox_wwan_event_serving_neighboring_cell_info;

mox_wwan_cell_info cell_of_type(std::int32_t type) {
  mox_wwan_cell_info cell;
  cell.set_cell_type(type);
  return cell;
}

TEST_F(ClientTest, EachTechnologyPrintsItsBlocks) {
  deliver(cell_event(6));
  record();
}

TEST_F(ClientTest, NumbersPrintInFull) {
  Cells info;
  *info.add_cells() = cell_of_type(0);
  *info.add_cells() = cell_of_type(1);
  info.mutable_cells(1)->mutable_gsm()->mutable_cell_identity()->set_bsic(4294967295U);
  info.mutable_cells(1)->mutable_gsm()->mutable_signal_strength()->set_signal_strength(INT32_MIN);
  *info.add_cells() = cell_of_type(6);
  info.mutable_cells(2)->mutable_nr()->mutable_cell_identity()->set_ci(18446744073709551615U);
  info.mutable_cells(2)->mutable_nr()->mutable_signal_strength()->set_rsrp(INT32_MAX);
  print(info);
  record();
}

TEST_F(ClientTest, TheCellTypeChoosesTheBlocksNotWhatTheCellHolds) {
  Cells info;
  *info.add_cells() = cell_of_type(3);
  info.mutable_cells(0)->mutable_gsm()->mutable_signal_strength()->set_signal_strength(-70);
  *info.add_cells() = cell_of_type(6);
  print(info);
  record();
}

Cells one_plain_cell() {
  Cells info;
  auto& cell = *info.add_cells();
  cell = cell_of_type(7);
  cell.set_timestamp(18446744073709551615U);
  cell.set_timestamp_type(2);
  cell.set_registered(true);
  info.set_sub(4294967295U);
  return info;
}

TEST_F(ClientTest, ACellEventHasDumpHeaderAndReport) {
  std::string every_byte;
  for (int i = 0; i < 2 * 256; ++i) every_byte.push_back(static_cast<char>(i));
  deliver(1281, one_plain_cell());
  deliver(buffer_of({{1281, every_byte}}));
  deliver(buffer_of({{1281, ""}}));
  record();
}

TEST_F(ClientTest, VoiceCallsStandOnOneLine) {
  mox_wwan_event_voice_calls event;
  deliver(1283, event);
  for (const std::uint32_t id : {1U, 4294967295U}) {
    auto& call = *event.add_calls();
    call.set_call_id(id);
    call.set_call_state(id == 1 ? 3 : -5);
  }
  event.set_sub(1);
  deliver(1283, event);
  record();
}

TEST_F(ClientTest, RrcStatesPrintWhatIsPresent) {
  mox_wwan_event_rrc_states_info info;
  deliver(1284, info);
  info.set_nr5g_rrc_state(0);
  deliver(1284, info);
  info.set_sub(1);
  info.set_lte_rrc_state(-2);
  info.set_wcdma_rrc_state(3);
  deliver(1284, info);
  record();
}

TEST_F(ClientTest, HighspeedRailAndConfigStatusPrintTheirSizeWithoutADump) {
  mox_wwan_event_highspeed_rail_network_info rail;
  deliver(1282, rail);
  rail.set_sub(1);
  rail.set_nr5g(true);
  deliver(1282, rail);
  mox_wwan_signal_strength_config_status status;
  deliver(1280, status);
  status.set_error(-7);
  deliver(1280, status);
  record();
}

TEST_F(ClientTest, ACellLocationReportsEachSubscription) {
  mox_wwan_get_cell_location_info_response response;
  deliver(1285, response);
  response.set_status(-1);
  *response.add_cells() = one_plain_cell();
  response.add_cells();
  deliver(1285, response);
  record();
}

TEST_F(ClientTest, ErrorsAndUnknownIdsAreDiagnosed) {
  sns_std_error_event error;
  error.set_error(-3);
  const std::string malformed = "\x08";
  deliver(buffer_of({{130, error.SerializeAsString()},
                     {1025, malformed},
                     {772, malformed},
                     {0, ""},
                     {1286, ""},
                     {4294967295U, ""},
                     {130, malformed}}));
  record();
}

TEST_F(ClientTest, MalformedBytesPrintWhatCouldBeRead) {
  mox_wwan_event_rrc_states_info info;
  info.set_lte_rrc_state(5);
  deliver(buffer_of({{1284, info.SerializeAsString() + "\xff"}}));
  const std::string cells = cell_event(6);
  deliver(cells.substr(0, cells.size() / 2));
  sns_client_event_msg whole;
  whole.ParseFromString(cells);
  deliver(buffer_of({{1281, whole.events(0).payload().substr(0, 150)}, {1280, "\x08"}}));
  deliver("\xff\xff\xff");
  deliver("");
  record();
}

TEST(LogTime, ATimeThatDoesNotFitIntoMicrosecondsEndsTheProgram) {
  platform().now = INT64_MAX / 1000;
  EXPECT_DEATH((void)log_time(), "");
}

// ---- attributes ----

void add(sns_std_attr_event& event, std::int32_t id, const sns_std_attr_value& value) {
  auto& attribute = *event.add_attributes();
  attribute.set_attr_id(id);
  *attribute.mutable_value() = value;
}

sns_std_attr_value floats(const std::vector<float>& values) {
  sns_std_attr_value list;
  for (const auto value : values) list.add_values()->set_real(value);
  return list;
}

TEST_F(ClientTest, AttributesAreKeptAndOverwritten) {
  sns_std_attr_event first;
  add(first, 16, integers({1}));
  add(first, -5, integers({1, 2}));
  sns_std_attr_event second;
  add(second, 16, integers({0, 9}));
  second.add_attributes()->set_attr_id(8);
  deliver(128, first);
  EXPECT_EQ(stream_type, 1);
  deliver(128, second);
  EXPECT_EQ(stream_type, 0);
  EXPECT_EQ(get_ints(16), (std::vector<std::int64_t>{0, 9}));
  EXPECT_EQ(get_ints(-5), (std::vector<std::int64_t>{1, 2}));
  EXPECT_EQ(attribute_cache.count(8), 1U);
  EXPECT_EQ(get_floats(99).size(), 0U);
  EXPECT_EQ(attribute_cache.max_load_factor(), 1.0F);
  record();
}

TEST_F(ClientTest, WithoutAStreamTypeTheLastOneStays) {
  stream_type = 1;
  deliver(128, sns_std_attr_event());
  sns_std_attr_event empty;
  add(empty, 16, {});
  deliver(128, empty);
  EXPECT_EQ(stream_type, 1);
  record();
}

TEST_F(ClientTest, ElementsOfTheWrongKindAreNamedAndZero) {
  auto mixed = floats({1.5F, -2.5F});
  mixed.add_values()->set_integer(3);
  mixed.add_values();
  attribute_cache[7] = mixed;
  attribute_cache[6] = mixed;
  attribute_cache[16] = integers({1});
  EXPECT_EQ(get_floats(7), (std::vector<float>{1.5F, -2.5F, 0, 0}));
  EXPECT_EQ(get_ints(7), (std::vector<std::int64_t>{0, 0, 3, 0}));
  record("read as both");
  print_sensor_info();
  record("an on-change sensor's attribute 6 is not read");
  attribute_cache[16] = integers({0});
  print_sensor_info();
  record("a streaming sensor's is");
  attribute_cache[16] = floats({1});
  print_sensor_info();
  record("a stream type of the wrong kind is " + std::to_string(stream_type));
}

TEST_F(ClientTest, RangesArePairsOfFloats) {
  sns_std_attr_value ranges;
  *ranges.add_values()->mutable_list() = floats({-140, -44, 7});
  *ranges.add_values()->mutable_list() = floats({1});
  *ranges.add_values()->mutable_list() = integers({1, 2});
  *ranges.add_values()->mutable_list() = integers({1});
  ranges.mutable_values(3)->mutable_list()->add_values()->set_real(2);
  ranges.add_values()->set_real(4);
  *ranges.add_values()->mutable_list() = floats({0.5F, 0.25F});
  EXPECT_TRUE(get_ranges().empty());
  attribute_cache[11] = ranges;
  EXPECT_EQ(get_ranges(),
            (std::vector<std::pair<float, float>>{{-140, -44}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0.5F, 0.25F}}));
  record();
}

// ---- events as a broken hub sends them ----

TEST_F(ClientTest, FieldsOfTheWrongWireTypeAreAbsent) {
  deliver(buffer_of({{1281, "\x08\x05"}, {1284, "\x0a\x01\x05\x10\x07"}, {1280, "\x0d\x01\x02\x03\x04"}}));
  record();
}

}  // namespace
}  // namespace cellscope::test
