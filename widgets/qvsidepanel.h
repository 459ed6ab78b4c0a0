#pragma once
// A side-bar panel: a title over a scrolling column of setting groups. When it holds no group it
// shows a short grey note saying why (for example that no camera is open), so an empty panel is
// never a blank rectangle.
// Thread rules: GUI thread only.

#include <QWidget>

class QLabel;
class QVBoxLayout;

class QvSidePanel : public QWidget {
    Q_OBJECT
public:
    QvSidePanel(const QString& title, const QString& emptyNote, QWidget* parent = nullptr);

    QString title() const;
    void setTitle(const QString& title);
    void setEmptyNote(const QString& note);
    QString emptyNote() const;

    /// Appends a group to the column; the empty note hides while any group is present.
    void addGroup(QWidget* group);
    /// Deletes every group; the empty note shows again.
    void clearGroups();
    int groupCount() const;

private:
    QLabel* m_title;
    QLabel* m_empty;
    QVBoxLayout* m_column;
};
