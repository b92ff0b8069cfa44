// make_seeds FOLDER: writes what the fuzz targets start from, FOLDER/TARGET/NUMBER. For each target there is also
// FOLDER/TARGET.list, the names of its seeds with commas between them.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "fuzz/everything.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/built_in_scenario.h"
#include "hub/scenario/scenario_file.h"
#include "hub/wire/capture_file.h"
#include "hub/wire/frame.h"
#include "tests/event_buffers.h"

namespace kelvane_hub::fuzz {
namespace {

using Seeds = std::vector<std::string>;

std::string read_whole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Every event of the built-in scenario.
Seeds events() {
  constexpr int seconds = 60;
  struct Collector final : Delivery {
    Seeds seeds{cellscope::test::attribute_event(20)};
    void deliver(const Link&, const std::string& message) override { seeds.push_back(message); }
  } collector;
  play_everything(built_in_scenario(), seconds, collector);
  Seeds& seeds = collector.seeds;
  std::sort(seeds.begin(), seeds.end());
  seeds.erase(std::unique(seeds.begin(), seeds.end()), seeds.end());
  return seeds;
}

/// One buffer with the events of several.
std::string together(const std::vector<std::string>& buffers) {
  sns_client_event_msg message;
  for (const auto& buffer : buffers) message.MergeFromString(buffer);
  return message.SerializeAsString();
}

Seeds lookups() {
  sns_client_event_msg message;
  auto& event = *message.add_events();
  event.set_msg_id(lookup_event);
  event.set_payload("\n\4wwan\x12\4\x08\x07\x10\x09");
  const auto answer = message.SerializeAsString();
  const auto attributes = cellscope::test::attribute_event(20);
  return {answer, together({answer, attributes}), together({answer, answer}), together({attributes, answer})};
}

Seeds consoles() {
  return {"operation=1 request_id=7 filename=drive.txt",
          "operation=2 rate=-1 =x y= a=b=c operation=3",
          "1 7 9 10 5 0 6 1 3 11 -1",
          "2 20 8 3 11 12",
          "1 4 0 1 1 100 3 2 -90 -80 1 0 0 1 1 0 0 0 1 x",
          "4 1 1 1 0 0 1 -100"};
}

/// The pieces that the stream comes in, then the stream.
std::string stream(char pieces, const std::string& bytes) { return pieces + bytes; }

Seeds hub_wires() {
  const suid lookup{sns_suid_sensor().suid_low(), sns_suid_sensor().suid_high()};
  const auto known = built_in_scenario().head().sensors(0).suid();
  const suid sensor{known.suid_low(), known.suid_high()};
  Seeds seeds{
      stream(0, encode_hello() + encode_frame(FrameKind::request, lookup, envelope(lookup_request, "\n\4wwan")))};
  std::string all = encode_hello();
  for (const auto& request : requests_for_everything()) {
    all += encode_frame(FrameKind::request, sensor, request);
    seeds.push_back(stream(static_cast<char>(seeds.size()), all));
  }
  return seeds;
}

Seeds library_wires() {
  const auto event = [](std::string_view payload) { return encode_frame(FrameKind::event, {7, 9}, payload); };
  return {stream(0, event("one") + event("throw") + event("two")), stream(3, event("one") + event("stop")),
          stream(15, event("forget") + event("two") + encode_frame(FrameKind::event, {1, 2}, "for nobody")),
          stream(1, event("one") + encode_hello())};
}

/// The built-in scenario whole and, smaller and quicker, each of its steps alone.
Seeds scenarios() {
  const PackedScenario built_in = built_in_scenario();
  Seeds seeds{
      built_in_scenario_text, "steps { at: 1.5 raw { msg_id: 9 payload: '\\377' } } repeat_after: 1.6",
      "start: 1 duration: 9 repeat_after: 9 repeat: 2 seed: 5 fill_timestamps: false\n"
      "steps { at: 0 cells { cells { registered: true lte { signal_strength { rsrp: -9 } } } cells { nr {} } } }\n"
      "steps { at: 1 ramp { cell: 1 field: 'nr.cell_identity.ci' from: 7 to: 1e19 over: 5 } }\n"
      "steps { at: 1 vary { field: 'rsrp' by: 3 over: 5 every: 0.5 } }\n"
      "steps { at: 3 change { all_cells: true set { cell_type: 6 nr {} } clear: 'registered' } }\n"};
  for (std::size_t i = 0; i < built_in.steps_size(); ++i) {
    scenario alone;
    *alone.add_steps() = built_in.step(i);
    seeds.push_back(alone.DebugString());
  }
  return seeds;
}

Seeds drives() {
  const std::string header = "Timestamp,State,NetworkMode,RSRP,RSRQ,SNR,CQI,RSSI,LACHEX,RAWCELLID,NRxRSRP,NRxRSRQ\n";
  Seeds seeds;
  for (const std::string mode : {"5G", "LTE", "UMTS", "GSM"}) {
    seeds.push_back(header + "2019.12.02_09.39.35,D," + mode + ",-73,-7,25.0,12,-57,9CBA,87812611,-91.0,-12.0\r\n\n" +
                    "2019.12.02_09.39.36,D," + mode + ",-,-,-,-,-,-,-,-,-");
  }
  const std::string profile =
      "columns { Timestamp: 't' NetworkMode: 'm' LAC: 'tac' } modes { theirs: 'NR' ours: '5G' }";
  seeds.push_back(profile + '\0' +
                  "\xEF\xBB\xBFt;M;rsrp;NRxRSRP;tac;\"a\"\"\n;b\"\n2019-12-02T09:39:35.25+01:00;NR;-73,5;200;17;\n"
                  "1575275975123;UNKNOWN;;;;\n1575275975.5;GSM;-80;-90;1;\"\"\n");
  return seeds;
}

Seeds runs() {
  return {
      "Payload size: 2\n10 0 \nReceived serving neighboring cell info on Sub :0\n"
      "serving neighboring cell info. Number of cells: 1\n\n=== Cell 1 === {Log Time: 17,Cell Type: 6,Timestamp: 5,"
      "Timestamp Type: 1,Registered: 1}\n\n== NR Cell Identity == {MCC: 1,MNC: 2,CI: 6,PCI: 3,TAC: 4,EARFCN: 5}\n"
      "\n== NR Signal Strength == {RSRP: -90,RSRQ: -11,RSSNR: 6,CQI: 7}\n",
      "Log Time: 9, Received voice call info on Sub:0, voice call info-Number of calls: 1: "
      "[{ Call: 1, CallID: 3, CallState: -5}]\nPayload size: 2\nerror info: -7\n",
      "Log Time: 9, Received rrc state info on Sub:0, \n{ LTE RRC STATE: 1 }\n\n"
      "Payload size: 4\nReceived HST info on Sub :1\nhst info-LTE 0\nhst info-NR5G 1\n",
      // A console session: bytes that say what is printed, strays, a broken report, a glued one, times to join.
      "Enter 1\r\nPayload size: 4\r\n10 2 8 5 \r\nReceived serving neighboring cell info on Sub :0\r\n"
      "serving neighboring cell info. Number of cells: 1\r\n\r\n=== Cell 1 === {Log Time: 17,Cell Type: 0,"
      "Timestamp: 5,Timestamp Type: 0,Registered: 0}\r\nListening For streaming sensor\nSUID=1Payload size: 0\n\n"
      "Received serving neighboring cell info with status :0\nserving neighboring cell info. Number of cells: 0\n"
      "Payload size: 1\n== x\nListening For streaming sensor\nPayload size: 2\n10 0 \n"
      "Received serving neighboring cell info on Sub :0\nserving neighboring cell info. Number of cells: 1\n\n"
      "=== Cell 1 === {Log Time: 21,Cell Type: 0,Timestamp: 4000000005,Timestamp Type: 0,Registered: 0}\nPayl",
      // What an import makes something of: a sensor that refuses, the same cells twice, an answer, what has no report.
      "Input given 3\nconnecting to streaming sensor\nsending on normal config request and sample rate 5\n"
      "event_cb:645, Received error event 5\nconnecting to on-change sensor\nPayload size: 2\n16 0 \n"
      "Received serving neighboring cell info on Sub :0\nserving neighboring cell info. Number of cells: 0\n"
      "Payload size: 2\n16 0 \nReceived serving neighboring cell info on Sub :0\n"
      "serving neighboring cell info. Number of cells: 0\nQuery Cell-location info\nPayload size: 6\n10 2 16 0 16 0 \n"
      "Received serving neighboring cell info with status :0\nserving neighboring cell info. Number of cells: 1\n"
      "Received serving neighboring cell info on Sub :0\nserving neighboring cell info. Number of cells: 0\n"
      "register for rrc state indication \nLog Time: 9, Received rrc state info on Sub:0, \n{ LTE RRC STATE: 1 }\n\n"
      "event_cb:756, Received unknown message ID 1286\nEnter sub id for this request (0 or 1)\n"
      "Payload size: 9\nReceived HST info on Sub :1\nhst info-LTE 0\nhst info-NR5G 1\nPayload size: 2\nerror info: "
      "0\n"};
}

/// A title above what the targets for runs and scenarios begin with.
Seeds plots() {
  Seeds seeds;
  for (const auto& drawn : {runs(), scenarios()}) {
    for (const auto& text : drawn) seeds.push_back("it's \\ \xff" + std::string(1, '\0') + text);
  }
  return seeds;
}

std::string capture_of(const std::vector<CaptureRecord>& records) {
  const std::string path = std::filesystem::temp_directory_path() / ("seed-" + std::to_string(getpid()));
  {
    CaptureWriter writer(UniqueFd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR)));
    for (const CaptureRecord& record : records) writer.write(record);
  }
  std::string bytes = read_whole(path);
  std::filesystem::remove(path);
  return bytes;
}

/// A capture of each event, of each request, and of all of them.
Seeds captures() {
  Seeds seeds;
  std::vector<CaptureRecord> all;
  for (const Direction direction : {Direction::request, Direction::event}) {
    for (const std::string& message : direction == Direction::event ? events() : requests_for_everything()) {
      const CaptureRecord record{std::chrono::hours(500'000), direction, 1, {7, 9}, message};
      all.push_back(record);
      seeds.push_back(capture_of({record}));
    }
  }
  seeds.push_back(capture_of(all));
  return seeds;
}

/// A scenario's number and, for some turns, what is done, who does it, to which sensor, and what it says.
Seeds sessions() {
  using namespace std::string_literals;
  const auto everything =
      "\0\0\1\0"                                  // on change
      "\0\1\2\1\5\0"                              // a stream
      "\0\2\1\2\1\0\1\0\0\1\5\3\2\14\11\0\2\1\0"  // thresholds, on change
      "\0\2\1\3\1\1"                              // registrations
      "\0\0\0\4\0"s;                              // a lookup
  const auto time_passes = "\2\3\3\1\2\4\3\1\2\5\3\0\0\2\6\2\0"s;
  Seeds seeds;
  for (char number = 0; number < 4; ++number) {
    seeds.push_back(number + everything + time_passes + "\2\7"s + everything + time_passes);
  }
  return seeds;
}

Seeds controls() {
  return {
      "set rsrp=-105 cell=1\n@d\nset timestamp= sub=1\ncall 3 id=2\ncall none\nrrc lte=1 nr5g=2\nrail lte=true\nerror "
      "-5",
      "pause\nnext\nseek 7.5\n@c\nresume\nspeed 100\n@e\nrestart\nrecord\nhelp\nhelp set\nhelp fault\nquit",
      "step 'cells { sub: 1 cells { cell_type: 6 nr { signal_strength { rsrp: -90 } } } }'\nstep raw { msg_id: 9 }",
      "step ramp { field: 'rsrp' from: -80 to: -120 over: 9 every: 0.5 }\n@d\nstep vary { all_cells: true field: "
      "'cell_type' "
      "by: 2 every: 0.2 }\n@e\nset rsrp=-70\nspeed 50\nnext\nstatus\nstep vary { all_cells: true field: 'cell_type' }\n"
      "step ramp { field: 'rsrp' }\nrecord\nseek 3",
      "fault drop msg_id=1281 count=2 after=1\n@d\nfault delay=0.5 direction=request\nfault list\nfault clear\nstatus",
      "fault 'sensor_gone { back_after: 2 } probability: 0.5'\n@e\nfault reorder\n@d\nrestart\n@c\nseek 1e7\n@f"};
}

/// A few kinds each, and a session that asks for everything while time goes on.
Seeds faults() {
  using namespace std::string_literals;
  const std::string asked = "\n\7\0\1\2\3\4\5\51\52\53\54\x4c\x44\x1a\x1b\x1a\x19\x04\x1b\x1a\x1b"s;
  return {"drop probability=0.5\ndelay=0.5 direction=request\n" + asked,
          "duplicate\nreorder probability=0.3\ntruncate=1\n" + asked,
          "corrupt=3 probability=0.4\nunknown_field=99\nunknown_id=4000 after=3\n" + asked,
          "no_answer count=1\nlate_attributes=1\nrefusal=7 msg_id=641\n" + asked,
          "sensor_gone=1.5 count=1 after=2\ncut after=5 count=1\nhub_restart after=9 count=1\n" + asked};
}

void write(const std::filesystem::path& folder, const Seeds& seeds) {
  std::filesystem::create_directories(folder);
  std::ofstream list(folder.string() + ".list");
  for (std::size_t i = 0; i < seeds.size(); ++i) {
    const auto file = folder / std::to_string(i);
    std::ofstream(file, std::ios::binary) << seeds[i];
    list << (i == 0 ? "" : ",") << file.string();
  }
}

}  // namespace
}  // namespace kelvane_hub::fuzz

int main(int argc, char** argv) {
  using namespace kelvane_hub::fuzz;
  if (argc != 2) return 2;
  const std::filesystem::path folder = argv[1];
  write(folder / "events", events());
  write(folder / "lookup", lookups());
  write(folder / "console", consoles());
  write(folder / "hub_wire", hub_wires());
  write(folder / "library_wire", library_wires());
  write(folder / "scenario", scenarios());
  write(folder / "import", drives());
  write(folder / "run", runs());
  write(folder / "plot", plots());
  write(folder / "control", controls());
  write(folder / "faults", faults());
  write(folder / "sessions", sessions());
  write(folder / "capture", captures());
  return 0;
}
