#pragma once
// A recording whose overview is known: three seconds at a steady 1.5 M events/s with the middle
// second silent, and a stretch of unknown words written over the middle of the last second.

#include "SyntheticStream.h"

#include "quorvel/raw/RawFileWriter.h"

#include <QFile>
#include <QString>

namespace qvtest {

struct TimelineRecording {
    static constexpr uint64_t kStart = 1000;
    static constexpr uint64_t kSecond = 1'000'000;
    /// File offset and length of the damaged stretch (EVT 3.0 words of a reserved type).
    qint64 damageAt = 0;
    static constexpr qint64 kDamageBytes = 16 * 1024;

    bool write(const QString& path) {
        quorvel::RawFileWriter writer;
        quorvel::RawFileWriter::Options o;
        o.width = 640;
        o.height = 480;
        o.serial = "TIMELINE";
        quorvel::test::StreamParams p;
        p.width = 640;
        p.height = 480;
        p.startUs = kStart;
        p.durationUs = 3 * kSecond;
        p.denseRate = p.sparseRate = 1.5e6;
        p.triggerPeriodUs = 0;
        p.gapAtUs = kStart + kSecond;
        p.gapUs = kSecond;
        if (!writer.open(path.toStdString(), o))
            return false;
        quorvel::test::generateStream(p, 1 << 16, [&](const auto& ev, const auto& tr) { writer.write(ev, tr); });
        if (!writer.close())
            return false;
        // The last second holds about half of the payload: its middle is three quarters in.
        QFile f(path);
        if (!f.open(QIODevice::ReadWrite))
            return false;
        damageAt = f.size() * 3 / 4;
        f.seek(damageAt);
        // 0x9090 whatever the word alignment (the header's length is arbitrary): a reserved type.
        const QByteArray words(kDamageBytes, '\x90');
        return f.write(words) == words.size();
    }
};

} // namespace qvtest
