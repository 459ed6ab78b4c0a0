#pragma once
// Recordings on disk for the file benchmarks, shaped like users' data and written in pieces so
// that memory stays small whatever the size:
// - "busy" / "sparse": EVT 3.0 generated word by word to the word mixes measured on a busy street
//   recording and on the pedestrians sample (tests/support/SensorWords.h);
// - "repeat": a real recording (the shared EVT 3.0 or EVT 2.0 sample) repeated with its time-high
//   words shifted per copy, its own header kept.

#include "quorvel/raw/RawFile.h"

#include "BenchWords.h"
#include "SyntheticStream.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

namespace quorvel::bench {

/// Writes `kind` ("busy" or "sparse") to `out` up to about `bytes`.
inline void makeGeneratedRecording(const std::string& kind, const std::string& out, uint64_t bytes) {
    const test::SensorWordMix mix = kind == "sparse" ? test::sparseSensorMix() : test::busySensorMix();
    std::ofstream o(out, std::ios::binary | std::ios::trunc);
    const std::string header = "% evt 3.0\n% format EVT3;height=" + std::to_string(mix.height) +
                               ";width=" + std::to_string(mix.width) + "\n% geometry " + std::to_string(mix.width) + "x" +
                               std::to_string(mix.height) + "\n% serial_number BENCH\n% end\n";
    o.write(header.data(), static_cast<std::streamsize>(header.size()));
    uint64_t written = header.size(), t = 1'000'000;
    for (uint32_t seed = 1; written < bytes; ++seed) {
        const std::string chunk = test::generateSensorEvt3(mix, t, static_cast<size_t>(std::min<uint64_t>(bytes - written, 64u << 20)), seed, &t);
        o.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        written += chunk.size();
    }
    if (!o)
        throw std::runtime_error("cannot write " + out);
}

/// Writes the recording `sample` repeated to `out` up to about `bytes`.
inline void makeRepeatedRecording(const std::string& sample, const std::string& out, uint64_t bytes) {
    std::string err;
    auto f = RawFile::open(sample, err);
    if (!f)
        throw std::runtime_error(err);
    const std::string all = test::readFileBytes(sample);
    const size_t ws = f->header().wordSize();
    const std::string header = all.substr(0, f->payloadBegin());
    const std::string payload = all.substr(f->payloadBegin(), (all.size() - f->payloadBegin()) / ws * ws);
    const bool evt3 = f->header().encoding == RawEncoding::Evt3;
    if (!evt3 && f->header().encoding != RawEncoding::Evt2)
        throw std::runtime_error(sample + " is neither EVT 3.0 nor EVT 2.0");
    std::ofstream o(out, std::ios::binary | std::ios::trunc);
    o.write(header.data(), static_cast<std::streamsize>(header.size()));
    uint64_t written = header.size();
    uint32_t copies = 0;
    while (written < bytes) {
        const size_t piece = static_cast<size_t>(std::min<uint64_t>(bytes - written, 64u << 20));
        const std::string chunk = evt3 ? test::repeatEvt3Payload(payload, piece, copies, &copies)
                                       : test::repeatEvt2Payload(payload, piece, copies, &copies);
        o.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        written += chunk.size();
    }
    if (!o)
        throw std::runtime_error("cannot write " + out);
}

} // namespace quorvel::bench
