#include "PreferencesDialog.h"

#include "run/PrefsController.h"
#include "support/LocalizedStrings.h"
#include "web/WMHTTPQueue.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSettings>
#include <QSlider>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr float kNoLimit = 32767.0f;

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

int sliderValue(float stored, bool noneAtTop)
{
    if (stored >= kNoLimit)
        return noneAtTop ? PreferencesDialog::kSliderTop : PreferencesDialog::kSliderBottom;
    return std::clamp(int(stored), PreferencesDialog::kSliderBottom, PreferencesDialog::kSliderTop);
}

} // namespace

PreferencesDialog::PreferencesDialog(QWidget* parent)
    : QDialog(parent), mMinimum(makeSlider()), mMaximum(makeSlider()), mThreshold(makeSlider()),
      mMinimumValue(new QLabel), mMaximumValue(new QLabel), mThresholdValue(new QLabel), mNote(new QLabel),
      mIgnoreNonSquare(new QCheckBox(text("PrefsIgnoreNonSquare"))),
      mKeepiTunesRefreshed(new QCheckBox(text("PrefsKeepiTunesRefreshed"))),
      mNoiTunesArtwork(new QCheckBox(text("PrefsNoiTunesArtwork"))), mCacheSize(new QComboBox),
      mCommonSizes(new QRadioButton(text("PrefsID3CommonSizes"))),
      mAccurateSizes(new QRadioButton(text("PrefsID3AccurateSizes"))), mDiscogsKey(new QLineEdit),
      mDiscogsSecret(new QLineEdit), mPostStatistics(new QCheckBox(text("PrefsPostStatistics"))),
      mRecordHistory(new QCheckBox(text("PrefsRecordHistory"))), mHistorySize(new QComboBox)
{
    setWindowTitle(text("PrefsTitle"));
    auto* artwork = new QGroupBox(text("PrefsArtwork"));
    auto* form = new QFormLayout(artwork);
    const auto row = [form](const char* label, QSlider* slider, QLabel* value) {
        auto* line = new QHBoxLayout;
        line->addWidget(slider, 1);
        value->setMinimumWidth(90);
        line->addWidget(value);
        slider->setAccessibleName(text(label));
        form->addRow(text(label), line);
    };
    row("PrefsMinimumSize", mMinimum, mMinimumValue);
    row("PrefsMaximumSize", mMaximum, mMaximumValue);
    row("PrefsThreshold", mThreshold, mThresholdValue);
    mNote->setWordWrap(true);
    form->addRow(mNote);
    form->addRow(mIgnoreNonSquare);
    form->addRow(mNoiTunesArtwork);

    auto* files = new QGroupBox(text("PrefsFiles"));
    auto* filesLayout = new QFormLayout(files);
    filesLayout->addRow(mKeepiTunesRefreshed);
    for (int megabytes : {5, 10, 20, 50, 100, 200})
        mCacheSize->addItem(LocalizedStrings::format(QStringLiteral("PrefsCacheMegabytes"), megabytes),
                            megabytes);
    filesLayout->addRow(text("PrefsCacheSize"), mCacheSize);
    filesLayout->addRow(text("PrefsID3Sizes"), mCommonSizes);
    filesLayout->addRow(QString(), mAccurateSizes);

    auto* web = new QGroupBox(text("PrefsWebSources"));
    auto* webLayout = new QFormLayout(web);
    mDiscogsKey->setAccessibleName(text("PrefsDiscogsKey"));
    mDiscogsSecret->setAccessibleName(text("PrefsDiscogsSecret"));
    mDiscogsSecret->setEchoMode(QLineEdit::PasswordEchoOnEdit);
    webLayout->addRow(text("PrefsDiscogsKey"), mDiscogsKey);
    webLayout->addRow(text("PrefsDiscogsSecret"), mDiscogsSecret);
    auto* discogsNote = new QLabel(text("PrefsDiscogsNote"));
    discogsNote->setWordWrap(true);
    webLayout->addRow(discogsNote);
    webLayout->addRow(mPostStatistics);
    auto* statisticsNote = new QLabel(text("PrefsPostStatisticsNote"));
    statisticsNote->setWordWrap(true);
    webLayout->addRow(statisticsNote);

    // The oldest operations go first when the history outgrows its size.
    auto* history = new QGroupBox(text("PrefsHistory"));
    auto* historyLayout = new QFormLayout(history);
    historyLayout->addRow(mRecordHistory);
    for (int megabytes : {100, 250, 500, 1000, 2000})
        mHistorySize->addItem(LocalizedStrings::format(QStringLiteral("PrefsCacheMegabytes"), megabytes),
                              megabytes);
    mHistorySize->setAccessibleName(text("PrefsHistorySize"));
    historyLayout->addRow(text("PrefsHistorySize"), mHistorySize);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    QPushButton* defaults = buttons->addButton(text("PrefsUseDefaults"), QDialogButtonBox::ResetRole);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    connect(defaults, &QPushButton::clicked, this, [this] {
        PrefsController::sharedInstance().useDefaults();
        WMHTTPQueue::queue()->setCacheCapacity(qint64(PrefsController::sharedInstance().cacheSizeMB()) *
                                               1048576);
        putValuesInInterface();
        emit valuesStored();
    });

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(artwork);
    layout->addWidget(files);
    layout->addWidget(web);
    layout->addWidget(history);
    layout->addWidget(buttons);

    for (QSlider* slider : {mMinimum, mMaximum, mThreshold}) {
        connect(slider, &QSlider::valueChanged, this, &PreferencesDialog::updateLabels);
        connect(slider, &QSlider::sliderReleased, this, &PreferencesDialog::takeValuesFromInterface);
        connect(slider, &QSlider::actionTriggered, this, [this] {
            QMetaObject::invokeMethod(this, &PreferencesDialog::takeValuesFromInterface,
                                      Qt::QueuedConnection);
        });
    }
    for (QCheckBox* box : {mIgnoreNonSquare, mKeepiTunesRefreshed, mNoiTunesArtwork, mPostStatistics, mRecordHistory})
        connect(box, &QCheckBox::toggled, this, &PreferencesDialog::takeValuesFromInterface);
    for (QComboBox* box : {mCacheSize, mHistorySize})
        connect(box, &QComboBox::currentIndexChanged, this, &PreferencesDialog::takeValuesFromInterface);
    connect(mAccurateSizes, &QRadioButton::toggled, this, &PreferencesDialog::takeValuesFromInterface);
    for (QLineEdit* field : {mDiscogsKey, mDiscogsSecret})
        connect(field, &QLineEdit::textEdited, this, &PreferencesDialog::takeValuesFromInterface);
    putValuesInInterface();
}

QSlider* PreferencesDialog::makeSlider()
{
    auto* slider = new QSlider(Qt::Horizontal);
    slider->setRange(kSliderBottom, kSliderTop);
    slider->setSingleStep(kSliderStep);
    slider->setPageStep(kSliderStep * 4);
    slider->setTickInterval(kSliderStep * 4);
    slider->setTickPosition(QSlider::TicksBelow);
    slider->setMinimumWidth(220);
    return slider;
}

void PreferencesDialog::putValuesInInterface()
{
    mFilling = true;
    PrefsController& prefs = PrefsController::sharedInstance();
    mMinimum->setValue(sliderValue(prefs.minimumImageSize(), false));
    mMaximum->setValue(sliderValue(prefs.maximumImageSize(), true));
    mThreshold->setValue(sliderValue(prefs.overwriteImageThreshold(), true));
    mIgnoreNonSquare->setChecked(prefs.ignoreNonSquareArtwork());
    mKeepiTunesRefreshed->setChecked(prefs.keepiTunesRefreshed());
    mNoiTunesArtwork->setChecked(prefs.noiTunesArtwork());
    int cacheIndex = mCacheSize->findData(prefs.cacheSizeMB());
    if (cacheIndex < 0) {
        mCacheSize->addItem(
            LocalizedStrings::format(QStringLiteral("PrefsCacheMegabytes"), prefs.cacheSizeMB()),
            prefs.cacheSizeMB());
        cacheIndex = mCacheSize->count() - 1;
    }
    mCacheSize->setCurrentIndex(cacheIndex);
    (prefs.writeSpecCorrectID3v24() ? mAccurateSizes : mCommonSizes)->setChecked(true);
    QSettings settings;
    const auto setText = [](QLineEdit* field, const QString& value) {
        // The caret stays where the user types.
        if (field->text().trimmed() != value)
            field->setText(value);
    };
    setText(mDiscogsKey, settings.value(QStringLiteral("discogsApiKey")).toString());
    setText(mDiscogsSecret, settings.value(QStringLiteral("discogsSecret")).toString());
    mPostStatistics->setChecked(settings.value(QStringLiteral("postStatistics"), false).toBool());
    mRecordHistory->setChecked(settings.value(QStringLiteral("recordHistory"), true).toBool());
    const int historyMegabytes = settings.value(QStringLiteral("historySizeMB"), 500).toInt();
    int historyIndex = mHistorySize->findData(historyMegabytes);
    if (historyIndex < 0) {
        mHistorySize->addItem(LocalizedStrings::format(QStringLiteral("PrefsCacheMegabytes"), historyMegabytes),
                              historyMegabytes);
        historyIndex = mHistorySize->count() - 1;
    }
    mHistorySize->setCurrentIndex(historyIndex);
    mFilling = false;
    updateLabels();
}

void PreferencesDialog::takeValuesFromInterface()
{
    if (mFilling)
        return;
    PrefsController& prefs = PrefsController::sharedInstance();
    prefs.storeImageSizes(float(mMinimum->value()), float(mMaximum->value()), float(mThreshold->value()),
                          float(kSliderBottom), float(kSliderTop));
    QSettings settings;
    settings.setValue(QStringLiteral("ignoreNonSquareArt"), mIgnoreNonSquare->isChecked());
    settings.setValue(QStringLiteral("keepiTunesRefreshed"), mKeepiTunesRefreshed->isChecked());
    settings.setValue(QStringLiteral("noiTunesArtwork"), mNoiTunesArtwork->isChecked());
    const int megabytes = mCacheSize->currentData().toInt();
    settings.setValue(QStringLiteral("cacheSizeMB"), megabytes);
    WMHTTPQueue::queue()->setCacheCapacity(qint64(megabytes) * 1048576);
    prefs.setWriteSpecCorrectID3v24(mAccurateSizes->isChecked());
    const auto storeText = [&settings](const QString& key, const QLineEdit* field) {
        const QString value = field->text().trimmed();
        if (value.isEmpty())
            settings.remove(key);
        else
            settings.setValue(key, value);
    };
    storeText(QStringLiteral("discogsApiKey"), mDiscogsKey);
    storeText(QStringLiteral("discogsSecret"), mDiscogsSecret);
    settings.setValue(QStringLiteral("postStatistics"), mPostStatistics->isChecked());
    settings.setValue(QStringLiteral("recordHistory"), mRecordHistory->isChecked());
    settings.setValue(QStringLiteral("historySizeMB"), mHistorySize->currentData().toInt());
    // The maximum is pulled up to the minimum: the controls show what is kept.
    putValuesInInterface();
    emit valuesStored();
}

void PreferencesDialog::updateLabels()
{
    const auto pixels = [](int value) {
        return LocalizedStrings::format(QStringLiteral("PrefsPixels"), value);
    };
    mMinimumValue->setText(mMinimum->value() <= kSliderBottom ? text("PrefsNoMinimum")
                                                              : pixels(mMinimum->value()));
    mMaximumValue->setText(mMaximum->value() >= kSliderTop ? text("PrefsNoLimit")
                                                           : pixels(mMaximum->value()));
    mThresholdValue->setText(mThreshold->value() >= kSliderTop ? text("PrefsAlways")
                                                               : pixels(mThreshold->value()));
    const bool noteShown = mThreshold->value() < kSliderTop && mThreshold->value() > mMinimum->value();
    mNote->setText(noteShown ? text("OverwriteThresholdHigherThanMinimum") : QString());
}
