#pragma once
// The two directions between a camera parameter's name and the text of its row's label. A row
// keeps no name of its own: it shows the display form and rebuilds the name from the label
// whenever it reports, so both directions must be exact inverses for names made of lower-case
// letters, digits and single underscores (my_gain_level <-> My Gain Level).
// Thread rules: pure functions.

#include <QString>

#include <string>

namespace SettingNames {

/// Words start after a blank or an underscore; the first letter of each word is upper-cased;
/// every underscore then becomes a blank.
QString displayForm(const std::string& parameterName);

/// Lower-cases the label and turns every blank into an underscore.
std::string parameterName(const QString& label);

} // namespace SettingNames
