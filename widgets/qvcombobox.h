#pragma once
// The styled choice list: an editable combo box inside a 2 px frame whose border and text colour
// follow the pointer and the pop-up list (brand colours when active, grey at rest). Its pop-up
// list paints items without the focus rectangle (NoFocusFrameDelegate).
//
// QVComboBoxBase is the combo box itself; it reports the pointer entering and leaving and its
// list opening and closing. QvComboBox is the form around it ("comboBoxWidget" holding
// "cb_combox_in_widget") with the four state handlers.
// Thread rules: GUI thread only.

#include <QComboBox>
#include <QStyledItemDelegate>
#include <QWidget>

class QFrame;

class NoFocusFrameDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

class QVComboBoxBase : public QComboBox {
    Q_OBJECT
public:
    explicit QVComboBoxBase(QWidget* parent = nullptr);

    void showPopup() override;
    void hidePopup() override;
    bool isPopupShown() const { return m_popupShown; }

signals:
    /// True when the pointer enters the box, false when it leaves while the list is closed (the
    /// open list takes the pointer away without the box going idle). The misspelling is shared
    /// with the line edit's signal of the same meaning.
    void signalMouseHoverd(bool inside);
    /// The list opened, showing the current index.
    void signalPopupShown(int index);
    void signalPopupHidden();

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    /// Without the keyboard focus the wheel scrolls whatever holds the box (a settings panel),
    /// instead of changing the choice under the pointer.
    void wheelEvent(QWheelEvent* event) override;

private:
    bool m_popupShown = false;
};

class QvComboBox : public QWidget {
    Q_OBJECT
public:
    explicit QvComboBox(QWidget* parent = nullptr);

    QVComboBoxBase* comboBox() const { return cb_combox_in_widget; }
    QFrame* frame() const { return comboBoxWidget; }

public slots:
    /// Frame "#D7E7EE", text "#004B6A".
    void slotHighlight();
    /// As slotHighlight, then re-emits the index as signalPopupShown.
    void slotHighlightAndForward(int index);
    /// Transparent frame, text "#A7A7A7".
    void slotNormal();
    /// As slotNormal, then emits signalPopupHidden.
    void slotNormalAndForward();

signals:
    void signalPopupShown(int index);
    void signalPopupHidden();

private:
    void setLook(const QString& frameStyle, const QString& frameColour, const QString& textColour);

    QFrame* comboBoxWidget = nullptr;
    QVComboBoxBase* cb_combox_in_widget = nullptr;
};
