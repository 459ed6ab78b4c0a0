#pragma once
// The styled line edit: its border turns to the brand colour while it has the keyboard focus and
// back to grey when the focus leaves, and it can show a pop-up strip (PopWidget) under itself or
// under an anchor widget, without taking the focus away from the text.
//
// QvLineEditBase is the line edit with that behaviour; QvLineEdit is the form around it
// ("widget_with_lineedit") that gives it the standard look.
// Thread rules: GUI thread only.

#include <QLineEdit>
#include <QPointer>
#include <QWidget>

class PopWidget : public QWidget {
    Q_OBJECT
public:
    explicit PopWidget(QWidget* parent = nullptr);
    /// Shows `content` inside the rounded strip; the strip takes ownership.
    void setContent(QWidget* content);
    QWidget* content() const { return m_content; }

private:
    QWidget* widget = nullptr;
    QWidget* m_content = nullptr;
};

class QvLineEditBase : public QLineEdit {
    Q_OBJECT
public:
    explicit QvLineEditBase(QWidget* parent = nullptr);

    /// The widget the pop-up strip shows; it moves into the strip when that is first shown.
    void setPopContent(QWidget* content);
    /// The strip goes under this widget (5 px below, as wide, 30 px high) instead of under the
    /// line edit itself (as wide, 20 px high).
    void setPopAnchor(QWidget* anchor);
    /// Shows or hides the strip; it is created on first show.
    void showPop(bool show);
    PopWidget* popWidget() const { return m_pop; }

signals:
    /// True when the line edit takes the keyboard focus, false when it loses it (the name is
    /// the interface's, misspelling included).
    void signalMouseHoverd(bool active);

protected:
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    QPointer<QWidget> m_popContent;
    QPointer<QWidget> m_anchor;
    PopWidget* m_pop = nullptr;
};

class QvLineEdit : public QWidget {
    Q_OBJECT
public:
    explicit QvLineEdit(QWidget* parent = nullptr);
    QvLineEditBase* lineEdit() const { return m_lineEdit; }

    static const char* baseStyle();

private:
    QWidget* widget_with_lineedit = nullptr;
    QvLineEditBase* m_lineEdit = nullptr;
};
