#pragma once
// Builds one panel group from a camera tool's published parameters: one row per parameter, of
// the kind its type calls for, with the tool's range, unit, description and default (or current
// value). Nothing here is specific to a tool or a panel: the rules say which parameter types get
// rows and where they go, and the wiring connects each new row to whatever delivers its values
// (a panel slot that calls the tool's setter, a value callback, pushes by name).
//
// Rows are built in the tool's name order. A parameter whose typed range lookup fails gets no
// row; so does one of a type the rules leave out. A missing tool or an empty parameter list
// leaves the group out and writes the rules' debug line.
// Thread rules: GUI thread only; the tool's calls are made synchronously.

#include <QString>

#include <functional>

namespace quorvel {
class CameraTool;
}

class SettingBaseWithComboBox;
class SettingBaseWithLineEdit;
class SettingBaseWithSwitchButton;
class SettingItemBox;
class SettingUI;

struct ToolGroupRules {
    QString title;
    bool intRows = false;
    bool floatRows = false;   ///< numeric rows in whole units (range and value truncated)
    bool boolRows = false;
    bool enumRows = false;
    /// Every parameter, whatever its type, as an integer row (one without integer range
    /// information is left out).
    bool everyParameterAsInt = false;
    int boolPosition = -1;    ///< index in the group a switch row is inserted at; -1 appends
    int enumPosition = -1;    ///< likewise for choice rows
    /// Numeric rows and switches start at the tool's current values instead of the defaults
    /// (switches then set silently).
    bool currentValues = false;
    /// Switches start at the parameter's default value (without currentValues).
    bool boolDefaults = false;
    const char* logNoTool = "";
    const char* logNoParams = "";
};

/// Called for each row after it has its range, value, unit and tooltip, before it is placed.
struct ToolGroupWiring {
    std::function<void(SettingBaseWithLineEdit*)> intRow;
    std::function<void(SettingBaseWithLineEdit*)> floatRow;
    std::function<void(SettingBaseWithSwitchButton*)> boolRow;
    std::function<void(SettingBaseWithComboBox*)> enumRow;
};

/// Deletes `group` (if any) and, when the tool has parameters, builds a new folded group into
/// `group` and inserts it before the panel's trailing spacer; otherwise `group` becomes null.
void buildToolGroup(SettingUI& panel, SettingItemBox*& group, quorvel::CameraTool* tool,
                    const ToolGroupRules& rules, const ToolGroupWiring& wiring);

/// A float truncated toward zero and held to the int range.
int wholeUnits(float value);

/// Delivery of a row's value to its tool: the tool's setter of the value's type; then, when the
/// tool accepted the value and `section` is given, the value is recorded under (section, name)
/// in the JSON configuration file at `configPath` (a refused value is never recorded: the SDK
/// loads a configuration file only when every value in it is acceptable). Returns whether the
/// tool accepted the value; a null tool accepts nothing.
bool deliverToolValue(quorvel::CameraTool* tool, const char* section, const QString& configPath,
                      const std::string& name, int value);
bool deliverToolValue(quorvel::CameraTool* tool, const char* section, const QString& configPath,
                      const std::string& name, bool value);
bool deliverToolValue(quorvel::CameraTool* tool, const char* section, const QString& configPath,
                      const std::string& name, const std::string& value);
/// A float parameter adjusted in whole units: set as float, recorded as the integer.
bool deliverToolWholeUnits(quorvel::CameraTool* tool, const char* section, const QString& configPath,
                           const std::string& name, int value);
