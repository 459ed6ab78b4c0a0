#pragma once
// The two players of recordings behind one transport: the raw playback processor for plain
// recordings and the fusion processor for recordings with their APS video. It owns both for the
// life of the window (the live camera draws through them too), drives the one of the recording
// that is open (setFusion), and hands on what either reports as one set of signals, already on
// the GUI thread.
//
// Thread rules: GUI thread only. The processors' own threads report through queued connections.

#include "qveventprocessor.h"
#include "qvmessagetype.h"
#include "qvthreehandleslider.h"

#include "quorvel/StreamType.h"

#include <QImage>
#include <QObject>
#include <QSize>
#include <QString>

#include <cstdint>

class QvFusionCameraDataProcessor;

class QvRecordingPlayer : public QObject {
    Q_OBJECT
public:
    explicit QvRecordingPlayer(QObject* parent = nullptr);
    ~QvRecordingPlayer() override;

    QvEventProcessor* eventProcessor() const { return m_raw; }
    QvFusionCameraDataProcessor* fusionProcessor() const { return m_fusion; }

    /// True when "%1/%2.mp4" (the recording's folder and complete base name) exists: the
    /// recording is played as a fusion recording.
    static bool hasApsVideo(const QString& rawPath);

    /// Which processor the transport drives: the fusion one (true) or the raw one.
    void setFusion(bool fusion) { m_useFusion = fusion; }
    bool isFusion() const { return m_useFusion; }
    /// The driven processor has a recording that it can play (loaded or loading).
    bool hasFile() const;
    /// Either processor is loading a recording or writing a range of one.
    bool isBusy() const;
    bool isLoading() const;
    bool isPlaying() const;
    /// Geometry of the images of the open recording; empty while it loads or without one.
    QSize resolution() const;
    /// Stops playing and closes the recording of both processors.
    void close();
    /// The overview of the open recording for the time slider, in at most `maxBuckets` buckets
    /// (empty before anything is indexed); grows while the recording loads.
    QvTimeline timeline(int maxBuckets) const;

public slots:
    void play(bool play);
    void nextFrame();
    void preFrame();
    void reset();
    void seek(uint64_t timestampUs);
    void setLowerTimeStamp(uint64_t timestampUs);
    void setUpperTimeStamp(uint64_t timestampUs);
    void setLoop(bool loop);
    void setAccTime(uint64_t timeUs);
    /// Frames per second of played file time; 0 (a slow rate of 0.03) is dropped, never divided by.
    void setFps(uint32_t fps);
    void setViewerType(quorvel::STREAM_TYPE type);

signals:
    void imageReady(QImage image);
    void positionChanged(uint64_t timestampUs);
    void localTimeChanged(QString localTime);
    void startTimeChanged(uint64_t timestampUs);
    void endTimeChanged(uint64_t timestampUs);
    void playStatusChanged(bool playing);
    void loadingStatusChanged(bool loading);
    void triggersFound(QvTriggerMarks triggers);
    void showTips(QString tips, QvMessageType type, QString file_path);
    /// A fusion recording whose frames cannot be shown; `reason` says why.
    void fusionFileFailed(QString path, QString reason);

private:
    QvEventProcessor* m_raw = nullptr;
    QvFusionCameraDataProcessor* m_fusion = nullptr;
    bool m_useFusion = false;
};
