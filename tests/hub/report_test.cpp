// Output files of cellscope as JSON and CSV.

#include <gtest/gtest.h>

#include "hub/base/input_error.h"
#include "hub/messages/reflection.h"
#include "hub/messages/technologies.h"
#include "hub/report/run_reader.h"
#include "hub/report/run_writer.h"

namespace kelvane_hub {
namespace {

const std::string cell_report = R"(Payload size: 2
10 0 
Received serving neighboring cell info on Sub :1
serving neighboring cell info. Number of cells: 1

=== Cell 1 === {Log Time: 17,Cell Type: 6,Timestamp: 18446744073709551615,Timestamp Type: 1,Registered: 1}

== NR Cell Identity == {MCC: 1,MNC: 2,CI: 68719476741,PCI: 3,TAC: 4,EARFCN: 5}

== NR Signal Strength == {RSRP: -90,RSRQ: -11,RSSNR: 6,CQI: 7}
)";

const std::string cell_json =
    R"("sub":1,"cells":[{"log_time":17,"cell_type":6,"timestamp":18446744073709551615,"timestamp_type":1,)"
    R"("registered":true,"technology":"NR","cell_identity":{"mcc":1,"mnc":2,"ci":68719476741,"pci":3,"tac":4,"earfcn":5},)"
    R"("signal_strength":{"rsrp":-90,"rsrq":-11,"rssnr":6,"cqi":7}}])";

TEST(ReportTest, EachEventIsAnObject) {
  const struct {
    std::string report;
    std::string json;
  } cases[] = {
      {cell_report,
       R"({"event":"serving_neighboring_cell_info","line":1,"payload_size":2,"payload":"0a00",)" + cell_json + "}"},
      {"Payload size: 0\n\nReceived serving neighboring cell info with status :-1\n"
       "serving neighboring cell info. Number of cells: 1\n" +
           cell_report.substr(cell_report.find("Received")),
       R"({"event":"get_cell_location_info_response","line":1,"payload_size":0,"payload":"","status":-1,)"
       R"("subscriptions":[{)" +
           cell_json + "}]}"},
      {"Log Time: 9, Received voice call info on Sub:0, voice call info-Number of calls: 1: "
       "[{ Call: 1, CallID: 4294967295, CallState: -5}]\n",
       R"({"event":"voice_calls","line":1,"log_time":9,"sub":0,"calls":[{"call_id":4294967295,"call_state":-5}]})"},
      {"Log Time: 9, Received rrc state info on Sub:0, \n{ WCDMA RRC STATE: 3 }\n{ LTE RRC STATE: 1 }\n"
       "{ NR5G RRC STATE: -2 }\n\n",
       R"({"event":"rrc_states_info","line":1,"log_time":9,"sub":0,"wcdma_rrc_state":3,"lte_rrc_state":1,)"
       R"("nr5g_rrc_state":-2})"},
      {"Payload size: 4\nReceived HST info on Sub :1\nhst info-LTE 0\nhst info-NR5G 1\n",
       R"({"event":"highspeed_rail_network_info","line":1,"payload_size":4,"sub":1,"lte":false,"nr5g":true})"},
      {"Payload size: 2\nListening For streaming sensor\nerror info: -7\nGot the  signal for 2\n",
       R"({"event":"signal_strength_config_status","line":1,"payload_size":2,"error":-7})"},
      {"Input given 2\nStreaming sensor rate : 5\nLog Time: 9, Received rrc state info on Sub:0, \n\n",
       R"({"event":"rrc_states_info","line":3,"log_time":9,"sub":0})"},
  };
  for (const auto& [report, json] : cases) EXPECT_EQ(to_json(read_run(report, "run.txt")), json + "\n");
}

TEST(ReportTest, WhatIsNoReportIsNamed) {
  const auto changed = [](const std::string& was, const std::string& is) {
    std::string report = cell_report;
    return report.replace(report.find(was), was.size(), is);
  };
  const std::pair<std::string, const char*> cases[] = {
      {"Hello\n", "run.txt:1: expected the beginning of a report (Payload size: … or Log Time: …), found 'Hello'"},
      {changed("10 0 ", "10 256 "), "run.txt:2: expected a byte, found '256 '"},
      {changed("10 0 ", "10 "), "run.txt:2: expected a whole number of 32 bits, found the end of the line"},
      {changed("10 0 ", "10 0 1 "), "run.txt:2: expected the end of the line, found '1 '"},
      {changed("Cell 1", "Cell 2"),
       "run.txt:6: expected '=== Cell 1 === {', found '=== Cell 2 === {Log Time: 17,Cell Type: ...'"},
      {changed("Registered: 1", "Registered: 2"), "run.txt:6: expected 0 or 1, found '2}'"},
      {changed("NR Cell", "LTE Cell"),
       "run.txt:8: expected '== NR Cell Identity == {', found '== LTE Cell Identity == {MCC: 1,MNC: 2,C...'"},
      {changed("TAC: 4,", "TAC: 2147483648,"),
       "run.txt:8: expected a whole number of 32 bits, found '2147483648,EARFCN: 5}'"},
      {changed("PCI: 3,", ""), "run.txt:8: expected ',PCI: ', found ',TAC: 4,EARFCN: 5}'"},
  };
  for (const auto& [report, message] : cases) {
    try {
      (void)read_run(report, "run.txt");
      ADD_FAILURE() << message;
    } catch (const InputError& error) {
      EXPECT_STREQ(error.what(), message);
    }
  }
}

TEST(ReportTest, AReportThatIsCutOffIsLeftOut) {
  for (std::size_t size = 1; size < cell_report.size(); ++size) {
    const auto run = read_run(cell_report + cell_report.substr(0, size), "run.txt");
    EXPECT_EQ(run.events.size(), 1U) << size;
    EXPECT_EQ(run.cut_off, 11U) << size;
  }
  EXPECT_EQ(read_run(cell_report, "run.txt").cut_off, 0U);
}

TEST(ReportTest, CsvHasARowForEachCellOrCall) {
  const auto run = read_run(cell_report +
                                "Log Time: 9, Received voice call info on Sub:0, voice call info-Number of calls: 2: "
                                "[{ Call: 1, CallID: 1, CallState: 3}{ Call: 2, CallID: 2, CallState: 5}]\n",
                            "run.txt");
  EXPECT_EQ(
      to_csv(run),
      "line,event,payload_size,sub,status,error,log_time,cell,cell_type,timestamp,timestamp_type,registered,"
      "technology,mcc,mnc,lac,cid,arfcn,bsic,signal_strength,bit_error_rate,timing_advance,network_id,system_id,"
      "base_station_id,longitude,latitude,dbm,ecio,evdo_dbm,evdo_ecio,evdo_snr,ci,pci,tac,earfcn,rsrp,rsrq,rssnr,"
      "cqi,psc,uarfcn,rscp,ecno,cpid,call,call_id,call_state,wcdma_rrc_state,lte_rrc_state,nr5g_rrc_state,lte,nr5g\n"
      "1,serving_neighboring_cell_info,2,1,,,17,1,6,18446744073709551615,1,true,NR,1,2,,,,,,,,,,,,,,,,,,68719476741,"
      "3,4,5,-90,-11,6,7,,,,,,,,,,,,,\n"
      "11,voice_calls,,0,,,9,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,1,1,3,,,,,\n"
      "11,voice_calls,,0,,,9,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,2,2,5,,,,,\n");
}

TEST(ReportTest, EachTechnologyPrintsFieldsThatItHas) {
  for (const Technology& technology : technologies()) {
    const auto& signal = *part_field(technology, signal_part).message_type();
    EXPECT_NO_THROW(field_of(signal, technology.strength)) << technology.name;
    for (const PrintedPart& part : technology.parts) {
      const auto& type = *part_field(technology, part.name).message_type();
      for (const PrintedField& field : part.fields) EXPECT_NO_THROW(field_of(type, field.name)) << part.title;
    }
  }
}

}  // namespace
}  // namespace kelvane_hub
