#pragma once

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QRadioButton;
class QSlider;

// The preferences: artwork sizes (smallest accepted, largest kept, the
// width under which existing artwork is replaced, with a note when that
// width is above the smallest), non-square artwork, iTunes, the web cache,
// how ID3 2.4 sizes are written, the Discogs key and secret and whether
// usage statistics are sent. Every change is stored at once and takes
// effect at the next use; "Use Defaults" brings back the defaults of the
// artwork, iTunes, cache and ID3 settings (the key, the secret and the
// statistics choice stay).
class PreferencesDialog : public QDialog
{
    Q_OBJECT

public:
    // The sliders' ranges; the bottom of the minimum means no minimum, the
    // top of the maximum no limit and the top of the threshold "always".
    static constexpr int kSliderBottom = 0;
    static constexpr int kSliderTop = 1200;
    static constexpr int kSliderStep = 50;

    explicit PreferencesDialog(QWidget* parent = nullptr);

    // Fills the controls from the stored values.
    void putValuesInInterface();

signals:
    // Values were stored.
    void valuesStored();

private:
    void takeValuesFromInterface();
    void updateLabels();
    QSlider* makeSlider();

    QSlider* mMinimum;
    QSlider* mMaximum;
    QSlider* mThreshold;
    QLabel* mMinimumValue;
    QLabel* mMaximumValue;
    QLabel* mThresholdValue;
    QLabel* mNote;
    QCheckBox* mIgnoreNonSquare;
    QCheckBox* mKeepiTunesRefreshed;
    QCheckBox* mNoiTunesArtwork;
    QComboBox* mCacheSize;
    QRadioButton* mCommonSizes;
    QRadioButton* mAccurateSizes;
    QLineEdit* mDiscogsKey;
    QLineEdit* mDiscogsSecret;
    QCheckBox* mPostStatistics;
    QCheckBox* mRecordHistory;
    QComboBox* mHistorySize;
    bool mFilling = false;
};
