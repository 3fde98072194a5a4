#pragma once

#include <QObject>
#include <QString>

class QHeaderView;
class QMenu;

// The song table's columns as the user arranged them: which are shown,
// their widths and order, remembered in the settings and restored at the
// next start. The header's context menu shows and hides columns and puts
// them back as they were first laid out.
class ColumnLayout : public QObject
{
    Q_OBJECT

public:
    static constexpr const char* kSettingsKey = "songTableColumns";

    // Takes over the header's context menu; restores the saved layout, or
    // lays the columns out for the first time.
    explicit ColumnLayout(QHeaderView* header);

    void save() const;
    // The first layout: default widths, order and visible columns.
    void reset();
    // Fills a menu with one check item per column and "Reset Columns" (the
    // header's context menu, the View menu's "Columns").
    void fillMenu(QMenu* menu) const;

private:
    bool restore();
    void showMenu(const QPoint& position);

    QHeaderView* mHeader;
};
