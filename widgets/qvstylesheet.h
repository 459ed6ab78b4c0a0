#pragma once
// Visual states of the styled inputs are set by rewriting one declaration (border, text colour,
// background) inside a widget's own style sheet, so that the rest of the sheet set by its form
// stays as it is.
// Thread rules: GUI thread only (style sheets are widget state).

#include <QString>

class QRegularExpression;
class QWidget;

namespace QvStyleSheet {

/// Patterns of the declarations the inputs rewrite. `\b` also matches after a hyphen, so the
/// colour pattern finds "color" inside "selection-background-color" as well: sheets that are
/// rewritten by it keep their plain "color:" declaration first.
const QRegularExpression& borderPattern();     ///< (\bborder[^;]*;)
const QRegularExpression& colorPattern();      ///< (\bcolor[^;]*;)
const QRegularExpression& backgroundPattern(); ///< (\bbackground[^;]*;)

/// `sheet` with the first match of `pattern` replaced by `declaration`, or with `declaration`
/// appended when nothing matches.
QString withDeclaration(const QString& sheet, const QRegularExpression& pattern, const QString& declaration);

/// Applies withDeclaration to the widget's own style sheet and sets it back.
void setDeclaration(QWidget* widget, const QRegularExpression& pattern, const QString& declaration);

} // namespace QvStyleSheet
