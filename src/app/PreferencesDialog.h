#pragma once

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLabel;
class QRadioButton;
class QSlider;

// The preferences: artwork sizes (smallest accepted, largest kept, the
// width under which existing artwork is replaced), non-square artwork,
// iTunes, the web cache and how ID3 2.4 sizes are written. Every change is
// stored at once; "Use Defaults" brings back the defaults of these settings.
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
    bool mFilling = false;
};
