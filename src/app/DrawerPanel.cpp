#include "DrawerPanel.h"

#include "run/GatherFlags.h"
#include "support/LocalizedStrings.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QRadioButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <array>

namespace {

struct Row
{
    AlbumAsset asset;
    const char* label;
};

// In the order of the window: album, title, artwork, genre, track, year, lyrics.
constexpr std::array<Row, 7> kRows = {{
    {AlbumAsset::AlbumName, "AlbumName"},
    {AlbumAsset::SongTitle, "SongTitle"},
    {AlbumAsset::Artwork, "Artwork"},
    {AlbumAsset::Genre, "Genre"},
    {AlbumAsset::Track, "Track"},
    {AlbumAsset::Year, "Year"},
    {AlbumAsset::Lyrics, "Lyrics"},
}};

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

} // namespace

DrawerPanel::DrawerPanel(QWidget* parent)
    : QDockWidget(text("DrawerTitle"), parent), mAlbumPicking(new QButtonGroup(this)),
      mAllowSubstrings(new QCheckBox(text("AllowSubstrings"))),
      mParallelSearch(new QCheckBox(text("ParallelSearch"))), mContents(new QWidget)
{
    setObjectName(QStringLiteral("Drawer"));
    setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable);

    auto* layout = new QVBoxLayout(mContents);
    auto* assets = new QGroupBox(text("DrawerLookFor"));
    auto* grid = new QGridLayout(assets);
    grid->addWidget(new QLabel(text("DrawerMissing")), 0, 1, Qt::AlignHCenter);
    grid->addWidget(new QLabel(text("DrawerReplace")), 0, 2, Qt::AlignHCenter);
    int line = 1;
    for (const Row& row : kRows) {
        const QString name = text(row.label);
        auto* label = new QLabel(name);
        auto* check = new QCheckBox;
        auto* overwrite = new QCheckBox;
        check->setAccessibleName(LocalizedStrings::format(QStringLiteral("DrawerCheckName"), name));
        overwrite->setAccessibleName(LocalizedStrings::format(QStringLiteral("DrawerOverwriteName"), name));
        check->setToolTip(check->accessibleName());
        overwrite->setToolTip(overwrite->accessibleName());
        label->setBuddy(check);
        grid->addWidget(label, line, 0);
        grid->addWidget(check, line, 1, Qt::AlignHCenter);
        grid->addWidget(overwrite, line, 2, Qt::AlignHCenter);
        ++line;
        mChecks.insert(row.asset, check);
        mOverwrites.insert(row.asset, overwrite);
        const AlbumAsset asset = row.asset;
        connect(check, &QCheckBox::clicked, this, [this, asset](bool on) { checkClicked(asset, on); });
        connect(overwrite, &QCheckBox::clicked, this,
                [this, asset](bool on) { overwriteClicked(asset, on); });
    }
    layout->addWidget(assets);

    auto* picking = new QGroupBox(text("DrawerAlbumPicking"));
    auto* pickingLayout = new QVBoxLayout(picking);
    const std::array<const char*, 2> methods = {"PickEarliestYear", "PickMostDuplicates"};
    for (int row = 0; row < int(methods.size()); ++row) {
        auto* button = new QRadioButton(text(methods.at(size_t(row))));
        mAlbumPicking->addButton(button, row);
        pickingLayout->addWidget(button);
    }
    connect(mAlbumPicking, &QButtonGroup::idClicked, this, [this](int row) {
        mPrefs.setAlbumPickingMethod(row);
        emit prefsChanged(mPrefs);
    });
    layout->addWidget(picking);

    layout->addWidget(mAllowSubstrings);
    layout->addWidget(mParallelSearch);
    connect(mAllowSubstrings, &QCheckBox::clicked, this, [this](bool on) {
        mPrefs.setAllowSubstrings(on ? 1 : 0);
        emit prefsChanged(mPrefs);
    });
    connect(mParallelSearch, &QCheckBox::clicked, this, [this](bool on) {
        mPrefs.setParallelSearch(on ? 1 : 0);
        emit prefsChanged(mPrefs);
    });
    layout->addStretch(1);

    auto* scroll = new QScrollArea;
    scroll->setWidget(mContents);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    setWidget(scroll);
    updateControls();
}

void DrawerPanel::setPrefs(const WindowPrefs& prefs)
{
    mPrefs = prefs;
    // Choices saved by an older version may clash; they are settled here.
    AlbumAssets overwrites = prefs.overwriteFlags();
    if (GatherFlags::overwritesConflict(overwrites))
        overwrites = GatherFlags::consistentOverwrites(overwrites, AlbumAsset::SongTitle);
    mPrefs.setOverwriteFlags(overwrites);
    updateControls();
}

void DrawerPanel::setControlsEnabled(bool enabled)
{
    mContents->setEnabled(enabled);
}

void DrawerPanel::checkClicked(AlbumAsset asset, bool on)
{
    AlbumAssets checks = mPrefs.checkFlags();
    checks.setFlag(asset, on);
    mPrefs.setCheckFlags(checks);
    updateControls();
    emit prefsChanged(mPrefs);
}

void DrawerPanel::overwriteClicked(AlbumAsset asset, bool on)
{
    AlbumAssets overwrites = mPrefs.overwriteFlags();
    overwrites.setFlag(asset, on);
    mPrefs.setOverwriteFlags(GatherFlags::consistentOverwrites(overwrites, asset));
    updateControls();
    emit prefsChanged(mPrefs);
}

void DrawerPanel::updateControls()
{
    for (const Row& row : kRows) {
        QCheckBox* check = mChecks.value(row.asset);
        QCheckBox* overwrite = mOverwrites.value(row.asset);
        const QSignalBlocker quietCheck(check);
        const QSignalBlocker quietOverwrite(overwrite);
        check->setChecked(mPrefs.checkFlags().testFlag(row.asset));
        overwrite->setChecked(mPrefs.overwriteFlags().testFlag(row.asset));
        // Replacing a value is offered only for what is looked up.
        overwrite->setEnabled(check->isChecked());
    }
    const bool albumChecked = mPrefs.checkFlags().testFlag(AlbumAsset::AlbumName);
    const int method = mPrefs.albumPickingMethod() == 1 ? 1 : 0;
    if (QAbstractButton* button = mAlbumPicking->button(method))
        button->setChecked(true);
    for (QAbstractButton* button : mAlbumPicking->buttons())
        button->setEnabled(albumChecked);
    mAllowSubstrings->setChecked(mPrefs.allowSubstrings() > 0);
    mParallelSearch->setChecked(mPrefs.parallelSearch() > 0);
}
