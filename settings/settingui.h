#pragma once
// The common form of the side panels: a title over a scrolling column of groups that ends in a
// spacer, so groups inserted before the spacer stack from the top in the order they are built.
//
// It carries what every panel shares: values pushed to its rows by parameter name
// (signalSetValue, four overloads), re-emission of values other panels push
// (slotParamChangedDelivery), the read-back of a camera's current values into the rows, the
// optional "Display" group (accumulation time and slow rate, relayed as
// signalCumulativeTimeChanged and signalFpsChanged), and toasts (signalShowLeftBottomTips).
// Thread rules: GUI thread only.

#include "qvmessagetype.h"

#include <QWidget>

#include <cstdint>
#include <string>

namespace quorvel {
class DvsCamera;
}

class QLabel;
class QScrollArea;
class QVBoxLayout;
class SettingDisplayItem;
class SettingItemBox;

class SettingUI : public QWidget {
    Q_OBJECT
public:
    explicit SettingUI(QWidget* parent = nullptr);

    void setTitle(const QString& title);
    QString title() const;

    QVBoxLayout* settingLayout() const { return verticalLayout; }
    /// Puts `widget` into the column just before the trailing spacer.
    void insertBeforeSpacer(QWidget* widget);

    /// (Re)builds the folded "Display" group with the display settings at the end of the column.
    void buildDisplayGroup();
    SettingItemBox* displayGroup() const { return m_displayGroup; }
    SettingDisplayItem* displayItem() const { return m_displayItem; }

    /// Reads every parameter of every tool of `camera` and pushes it to the rows by name
    /// (signalSetValue), whether or not the read succeeded (a failed read pushes 0, false or "").
    /// A row whose value changes reports it as if the user had changed it. Without a camera it
    /// only repaints.
    void readBackCameraValues(quorvel::DvsCamera* camera);

signals:
    void signalSetValue(const std::string& name, int value);
    void signalSetValue(const std::string& name, float value);
    void signalSetValue(const std::string& name, bool value);
    void signalSetValue(const std::string& name, const std::string& value);
    void signalCumulativeTimeChanged(uint64_t time_us);
    void signalFpsChanged(uint32_t fps);
    void signalShowLeftBottomTips(QString tips, QvMessageType type, QString file_path);

public slots:
    void slotParamChangedDelivery(const std::string& name, int value);
    void slotParamChangedDelivery(const std::string& name, float value);
    void slotParamChangedDelivery(const std::string& name, bool value);
    void slotParamChangedDelivery(const std::string& name, const std::string& value);
    void slotCumulativeTimeChanged(uint64_t time_us);
    void slotFpsChanged(uint32_t fps);

protected:
    QLabel* lb_setting_ui = nullptr;
    QScrollArea* scroll_area_setting = nullptr;
    QWidget* scrollAreaWidgetContents = nullptr;
    QVBoxLayout* verticalLayout = nullptr;

private:
    SettingItemBox* m_displayGroup = nullptr;
    SettingDisplayItem* m_displayItem = nullptr;
};
