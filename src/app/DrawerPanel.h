#pragma once

#include "run/WindowPrefs.h"

#include <QDockWidget>
#include <QMap>

class QButtonGroup;
class QCheckBox;

// The drawer of the main window: what a run looks up when it is missing
// (check boxes), what it may replace when it is there (overwrite boxes), how
// an album is picked, partial title matches and parallel searching. The
// boxes stay consistent as the user clicks them; the whole drawer is
// disabled while a run runs.
class DrawerPanel : public QDockWidget
{
    Q_OBJECT

public:
    explicit DrawerPanel(QWidget* parent = nullptr);

    // Shows the choices (read at start).
    void setPrefs(const WindowPrefs& prefs);
    WindowPrefs prefs() const { return mPrefs; }
    // The choices can't change during a run.
    void setControlsEnabled(bool enabled);

signals:
    void prefsChanged(const WindowPrefs& prefs);

private:
    void checkClicked(AlbumAsset asset, bool on);
    void overwriteClicked(AlbumAsset asset, bool on);
    void updateControls();

    WindowPrefs mPrefs;
    QMap<AlbumAsset, QCheckBox*> mChecks;
    QMap<AlbumAsset, QCheckBox*> mOverwrites;
    QButtonGroup* mAlbumPicking;
    QCheckBox* mAllowSubstrings;
    QCheckBox* mParallelSearch;
    QWidget* mContents;
};
