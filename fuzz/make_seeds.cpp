// qv-fuzz-seeds DIR: writes the seed inputs of every fuzz target into DIR/<target>/ (the
// regression corpus is fuzz/corpus). Recordings and wire messages are made with the SDK's own
// encoders and the sensor-shaped generator; the hostile ones are the kinds found so far: random
// bodies whose clock claims years, time jumps of more than a day, torn last words, headers with
// unprintable bytes.
#include "quorvel/net/NetProtocol.h"
#include "quorvel/raw/RawFileWriter.h"

#include "SensorWords.h"
#include "SyntheticStream.h"

#include <cstdio>
#include <filesystem>
#include <random>

using namespace quorvel;
using namespace quorvel::test;
namespace fs = std::filesystem;

namespace {

std::string g_dir;

void seed(const std::string& target, const std::string& name, const std::string& bytes) {
    fs::create_directories(g_dir + "/" + target);
    writeFile(g_dir + "/" + target + "/" + name, bytes);
}

std::string randomBytes(size_t n, uint32_t s) {
    std::mt19937 rng(s);
    std::string b(n, '\0');
    for (auto& c : b)
        c = static_cast<char>(rng());
    return b;
}

std::string le32(uint32_t v) { return std::string(reinterpret_cast<const char*>(&v), 4); }

std::vector<Event2D> fewEvents(uint64_t t0) {
    StreamParams p;
    p.width = 320;
    p.height = 240;
    p.startUs = t0;
    p.durationUs = 3000;
    p.denseRate = 2e6;
    p.sparseRate = 2e5;
    p.periodUs = 1000;
    p.triggerPeriodUs = 500;
    std::vector<Event2D> ev;
    std::vector<EventTriggerIn> tr;
    generateAll(p, ev, tr);
    return ev;
}

// A recording from our writer: EVT 3.0 with vectors, triggers and a time base.
std::string writtenRecording(uint64_t t0) {
    const std::string path = g_dir + "/.tmp.raw";
    RawFileWriter w;
    RawFileWriter::Options o;
    o.width = 320;
    o.height = 240;
    o.serial = "SEED";
    std::vector<EventTriggerIn> tr = {{0, 1, t0 + 100}, {0, 0, t0 + 2000}};
    if (!w.open(path, o) || !w.write(fewEvents(t0), tr) || !w.close())
        std::fprintf(stderr, "qv-fuzz-seeds: %s\n", w.lastError().c_str());
    const std::string bytes = readFileBytes(path);
    fs::remove(path);
    return bytes;
}

const std::string kEvt3Header = "% evt 3.0\n% format EVT3;height=240;width=320\n% end\n";
const std::string kEvt2Header = "% evt 2.0\n% format EVT2;height=240;width=320\n% end\n";

void recordings() {
    SensorWordMix busy = busySensorMix(), sparse = sparseSensorMix();
    for (auto* m : {&busy, &sparse}) {
        m->width = 320;
        m->height = 240;
        m->triggerPeriodUs = 300;
    }
    const std::string busyWords = generateSensorEvt3(busy, (uint64_t{1} << 24) - 100, 6000, 3);
    const std::string sparseWords = generateSensorEvt3(sparse, 77'000, 6000, 4);
    const std::string written = writtenRecording(5'000'000);
    // More than a day of wraps between two events.
    std::string jump = "\x01\x80\x10\x60\x05\x00\x07\x20";
    for (int i = 0; i < 5200; ++i)
        jump += std::string("\x00\x88\x00\x80", 4);
    jump += "\x08\x20";
    std::string evt2Words;
    for (const auto& e : fewEvents(1000)) {
        evt2Words += le32(0x80000000u | static_cast<uint32_t>(e.timestamp >> 6));
        evt2Words += le32((uint32_t{e.polarity} << 28) | static_cast<uint32_t>((e.timestamp & 63) << 22) | (uint32_t{e.x} << 11) | e.y);
    }

    // Whole files for the reader.
    seed("fuzz_file_reader", "written_evt3", written);
    seed("fuzz_file_reader", "busy_evt3", kEvt3Header + busyWords);
    seed("fuzz_file_reader", "sparse_evt3_old_header", "% evt 3.0\n% system_ID 48\n% serial_number 00001034\n" + sparseWords);
    seed("fuzz_file_reader", "evt3_torn_last_word", kEvt3Header + busyWords.substr(0, 3001));
    seed("fuzz_file_reader", "evt3_time_jump", kEvt3Header + jump);
    seed("fuzz_file_reader", "evt2_events", kEvt2Header + evt2Words);
    seed("fuzz_file_reader", "evt2_random_body_claims_years", kEvt2Header + randomBytes(16000, 5));
    seed("fuzz_file_reader", "evt21_legacy", "% evt 2.1\n% system_ID 40\n% geometry 320x240\n" + randomBytes(4000, 6));
    seed("fuzz_file_reader", "dat_records", std::string("% Version 2\n% end\n") + '\0' + '\x08' + encodeDat(fewEvents(0)));
    seed("fuzz_file_reader", "header_only", kEvt3Header);

    // Payloads for the decoders: four parameter bytes (width, height, byte order and time base,
    // piece size), then words.
    const std::string params320("\x27\x1d\x02\x05", 4); // 313 x 233, time base, pieces of 6
    const std::string params1k("\xa0\x5a\x01\x11", 4);  // 1281 x 721, legacy order
    seed("fuzz_decoder_evt3", "busy", params1k + generateSensorEvt3(busySensorMix(), 3'000'000, 8000, 7));
    seed("fuzz_decoder_evt3", "sparse", params320 + sparseWords);
    seed("fuzz_decoder_evt3", "written", params320 + written.substr(written.find("% end\n") + 6));
    seed("fuzz_decoder_evt3", "time_jump", params320 + jump);
    seed("fuzz_decoder_evt3", "random", params320 + randomBytes(8000, 8));
    seed("fuzz_decoder_evt2", "events", params320 + evt2Words);
    seed("fuzz_decoder_evt2", "random_claims_years", params320 + randomBytes(16000, 9));
    std::vector<EventTriggerIn> tr = {{3, 1, 1500}};
    seed("fuzz_decoder_evt21", "events", params320 + encodeEvt21(fewEvents(1000), tr, false));
    seed("fuzz_decoder_evt21", "legacy_events", params1k + encodeEvt21(fewEvents(1000), tr, true));
    seed("fuzz_decoder_evt21", "random", params320 + randomBytes(8000, 10));
    seed("fuzz_decoder_dat", "records", params320 + encodeDat(fewEvents(4'294'000'000ull)));
    seed("fuzz_decoder_dat", "random", params320 + randomBytes(8000, 11));

    // Headers: a flag byte (whole file, DAT hint) and the text.
    seed("fuzz_raw_header", "ours", "\x01" + written.substr(0, written.find("% end\n") + 6));
    seed("fuzz_raw_header", "old_evt3", "\x01% Date 2020-09-14 14:18:29\n% evt 3.0\n% system_ID 48\n");
    seed("fuzz_raw_header", "evt21_legacy", std::string(1, '\0') + "% format EVT21;height=720;width=1280;endianness=legacy\n% end\n");
    seed("fuzz_raw_header", "dat", std::string("\x03% Version 2\n% Width 54\n% Height 61\n% end\n") + '\0' + '\x08');
    seed("fuzz_raw_header", "unprintable_format", "\x01% format EV\x1b[2J\xff" "21;width=1;height=1\n");
    seed("fuzz_raw_header", "cut_short", std::string(1, '\0') + "% evt 3.0\n% geometry 64");
}

void wire() {
    net::CameraAnnouncement a;
    a.serial = "ETH0001";
    a.manufacturer = "Quorvel";
    a.product = "QV-ETH";
    a.firmware = "1.0";
    a.mac = "02:00:00:00:00:01";
    a.ip = "127.0.0.5";
    a.mask = "255.0.0.0";
    a.gateway = "127.0.0.1";
    a.width = 640;
    a.height = 480;
    const auto announce = net::encodeAnnounce(7, a);
    seed("fuzz_net_datagram", "announce", std::string(announce.begin(), announce.end()));
    net::ForceIpAck ack;
    ack.ok = true;
    ack.serial = "ETH0001";
    ack.ip = "127.0.0.6";
    const auto acked = net::encodeForceIpAck(8, ack);
    seed("fuzz_net_datagram", "force_ip_ack", std::string(acked.begin(), acked.end()));

    std::string frames;
    for (const Json& m : {Json{{"op", "open"}, {"id", 1}, {"serial", "ETH0001"}}, Json{{"op", "start"}, {"id", 2}},
                          Json{{"op", "set"}, {"id", 3}, {"tool", 0}, {"values", {{"bias_fo", 5}}}}}) {
        const auto f = net::encodeControl(m);
        frames.append(f.begin(), f.end());
    }
    seed("fuzz_net_control", "three_frames", "\x11" + frames);

    net::PacketEncoder enc(640, 480);
    std::vector<uint8_t> packets;
    std::vector<Event2D> ev = fewEvents((uint64_t{1} << 24) - 1000);
    std::vector<EventTriggerIn> tr = {{1, 1, ev[10].timestamp}};
    net::PacketHeader h;
    h.streamId = 0;
    const size_t half = ev.size() / 2;
    enc.encode(h, ev.data(), ev.data() + half, tr.data(), tr.data() + 1, packets);
    h.seq = 1;
    h.firstEventIndex = half;
    enc.encode(h, ev.data() + half, ev.data() + ev.size(), nullptr, nullptr, packets);
    seed("fuzz_net_packet", "two_packets", "\x00" + std::string(packets.begin(), packets.end()));
    seed("fuzz_net_packet", "two_packets_repaired", "\x01" + std::string(packets.begin(), packets.end()));

    seed("fuzz_net_tools", "biases_and_roi",
         R"({"op":"opened","tools":[{"type":0,"description":"Biases","params":[)"
         R"({"name":"bias_fo","description":"low-pass","type":0,"min":-35,"max":55,"default":0,"unit":"","value":3},)"
         R"({"name":"mode","description":"m","type":4,"options":["a","b"],"default":"a","value":"b"},)"
         R"({"name":"on","description":"o","type":2,"default":true,"value":false}]},)"
         R"({"type":5,"description":"ROI","params":[{"name":"x","description":"x","type":1,"min":0.0,"max":1.0,"default":0.5,"unit":"","value":0.25}]}]})");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: qv-fuzz-seeds DIR\n");
        return 2;
    }
    g_dir = argv[1];
    fs::create_directories(g_dir);
    recordings();
    wire();
    return 0;
}
