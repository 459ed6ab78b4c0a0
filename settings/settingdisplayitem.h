#pragma once
// The display settings: how long a window of events each picture collects (accumulation time)
// and how much slower than real time pictures are made (slow rate). Two editable choice lists
// with presets; any text may be typed. While typing, the list's border shows whether the text
// is valid; finishing a valid text sends it. These values go to the processors, not the camera.
//
// Accumulation time: a number with the suffix "ms" or "us" (any case; no suffix counts as ms),
// valid from 1 us to 1 s. Slow rate: a number from 0.03 to 1000, sent as the rate times 30
// (truncated, low 16 bits): 1 sends 30, 0.03 sends 0 (receivers must not divide by it).
// Thread rules: GUI thread only.

#include <QWidget>

#include <cstdint>

class QLabel;
class QvComboBox;
class QComboBox;

class SettingDisplayItem : public QWidget {
    Q_OBJECT
public:
    explicit SettingDisplayItem(QWidget* parent = nullptr);

    /// Appends "ms" to a text that ends in neither "ms" nor "us" (any case).
    static QString completeAccumulationText(const QString& text);
    /// Microseconds of a completed text; 0 when it does not parse.
    static uint64_t accumulationTimeUs(const QString& completedText);

    QComboBox* accumulationTimeList() const;
    QComboBox* slowRateList() const;

public slots:
    void slotAccumulationTimeTextChanged(const QString& text);
    void slotAccumulationTimeTextEditFinished();
    void slotFrameRateTextChanged(const QString& text);
    void slotFrameRateEditTextFinished();

signals:
    void signalCumulativeTimeChanged(uint64_t time_us);
    void signalFpsChanged(uint32_t fps);

private:
    static void showValidity(QComboBox* list, bool valid);
    static void resetBorder(QComboBox* list);

    QLabel* label = nullptr;
    QLabel* label_2 = nullptr;
    QvComboBox* widget_combobox_accumulation_time = nullptr;
    QvComboBox* widget_combobox_frame_rate = nullptr;
};
