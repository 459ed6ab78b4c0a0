#include "toolgroup.h"

#include "settingbasewithcombobox.h"
#include "settingbasewithlineedit.h"
#include "settingbasewithswitchbutton.h"
#include "settingitembox.h"
#include "settingui.h"
#include "qvutility.h"

#include "quorvel/CameraTool.h"

#include <QDebug>
#include <QJsonValue>
#include <QVBoxLayout>

#include <cmath>
#include <limits>
#include <map>

int wholeUnits(float value) {
    if (std::isnan(value))
        return 0;
    if (value >= 2147483647.0f)
        return std::numeric_limits<int>::max();
    if (value <= -2147483648.0f)
        return std::numeric_limits<int>::min();
    return static_cast<int>(value);
}

namespace {

void place(SettingItemBox* group, QWidget* row, int position) {
    if (position < 0)
        group->addRow(row);
    else
        group->insertRow(row, position);
}

SettingBaseWithLineEdit* numericRow(SettingItemBox* group, const quorvel::BasicParameterInfo& param, int min,
                                    int max, int value, const std::string& unit) {
    auto* row = new SettingBaseWithLineEdit(param.name, group);
    row->setToolTip(QString::fromStdString(param.description));
    row->setRange(min, max);
    row->setValue(value);
    row->setUnit(unit);
    return row;
}

} // namespace

void buildToolGroup(SettingUI& panel, SettingItemBox*& group, quorvel::CameraTool* tool,
                    const ToolGroupRules& rules, const ToolGroupWiring& wiring) {
    if (group) {
        panel.settingLayout()->removeWidget(group);
        delete group;
        group = nullptr;
        panel.settingLayout()->update();
    }
    if (!tool) {
        qDebug() << rules.logNoTool;
        return;
    }
    std::map<std::string, quorvel::BasicParameterInfo> params;
    tool->getAllParamsInfo(params);
    if (params.empty()) {
        qDebug() << rules.logNoParams;
        return;
    }

    auto* box = new SettingItemBox(panel.settingLayout()->parentWidget());
    box->setTitle(rules.title);
    for (const auto& [key, entry] : params) {
        const quorvel::BasicParameterInfo param = entry;
        const auto type = rules.everyParameterAsInt ? quorvel::ParameterType::Int : param.type;
        switch (type) {
        case quorvel::ParameterType::Int: {
            quorvel::IntParameterInfo info;
            if (!rules.intRows || !tool->getIntParamInfo(param.name, info))
                break;
            int value = info.default_value;
            if (rules.currentValues) {
                value = 0;
                tool->getIntParam(param.name, value);
            }
            SettingBaseWithLineEdit* row = numericRow(box, param, info.min, info.max, value, info.unit);
            if (wiring.intRow)
                wiring.intRow(row);
            box->addRow(row);
            break;
        }
        case quorvel::ParameterType::Float: {
            quorvel::FloatParameterInfo info;
            if (!rules.floatRows || !tool->getFloatParamInfo(param.name, info))
                break;
            SettingBaseWithLineEdit* row = numericRow(box, param, wholeUnits(info.min), wholeUnits(info.max),
                                                      wholeUnits(info.default_value), info.unit);
            if (wiring.floatRow)
                wiring.floatRow(row);
            box->addRow(row);
            break;
        }
        case quorvel::ParameterType::Bool: {
            quorvel::BoolParameterInfo info;
            if (!rules.boolRows || !tool->getBoolParamInfo(param.name, info))
                break;
            auto* row = new SettingBaseWithSwitchButton(param.name, box);
            row->setToolTip(QString::fromStdString(param.description));
            if (rules.currentValues) {
                bool on = false;
                tool->getBoolParam(param.name, on);
                row->setChecked(on);
            } else if (rules.boolDefaults) {
                row->setChecked(info.default_value);
            }
            if (wiring.boolRow)
                wiring.boolRow(row);
            place(box, row, rules.boolPosition);
            break;
        }
        case quorvel::ParameterType::Enum: {
            quorvel::EnumParameterInfo info;
            if (!rules.enumRows || !tool->getEnumParamInfo(param.name, info))
                break;
            auto* row = new SettingBaseWithComboBox(param.name, box);
            row->setToolTip(QString::fromStdString(param.description));
            for (const std::string& option : info.options)
                row->addItem(QString::fromStdString(option));
            if (wiring.enumRow)
                wiring.enumRow(row);
            place(box, row, rules.enumPosition);
            break;
        }
        default:
            break; // no row for other types
        }
    }
    box->setFolded(true);
    group = box;
    panel.insertBeforeSpacer(box);
}

namespace {

bool recordIfAccepted(bool accepted, const char* section, const QString& configPath, const std::string& name,
                      const QJsonValue& value) {
    if (accepted && section && *section)
        QvUtility::updateJsonValue(configPath, QLatin1String(section), QString::fromStdString(name), value);
    return accepted;
}

} // namespace

bool deliverToolValue(quorvel::CameraTool* tool, const char* section, const QString& configPath,
                      const std::string& name, int value) {
    return recordIfAccepted(tool && tool->setIntParam(name, value), section, configPath, name, value);
}

bool deliverToolValue(quorvel::CameraTool* tool, const char* section, const QString& configPath,
                      const std::string& name, bool value) {
    return recordIfAccepted(tool && tool->setBoolParam(name, value), section, configPath, name, value);
}

bool deliverToolValue(quorvel::CameraTool* tool, const char* section, const QString& configPath,
                      const std::string& name, const std::string& value) {
    return recordIfAccepted(tool && tool->setEnumParam(name, value), section, configPath, name,
                            QString::fromStdString(value));
}

bool deliverToolWholeUnits(quorvel::CameraTool* tool, const char* section, const QString& configPath,
                           const std::string& name, int value) {
    return recordIfAccepted(tool && tool->setFloatParam(name, static_cast<float>(value)), section, configPath, name,
                            value);
}
