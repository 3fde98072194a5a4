#pragma once

#include <QObject>

// A progress bar without a window: the core advances it, a front end shows
// it (a QProgressBar in the window, a progress line on a terminal). It
// starts indeterminate ("spinning"); making it determinate stops the
// animation. Values are doubles, as the bars that show them.
class ProgressIndicator : public QObject
{
    Q_OBJECT
public:
    explicit ProgressIndicator(QObject* parent = nullptr);

    double minValue() const { return mMinValue; }
    double maxValue() const { return mMaxValue; }
    double doubleValue() const { return mValue; }
    bool isIndeterminate() const { return mIndeterminate; }
    bool isAnimating() const { return mAnimating; }

    void setMinValue(double value);
    void setMaxValue(double value);
    void setDoubleValue(double value);
    void incrementBy(double delta);
    void setIndeterminate(bool indeterminate);
    void startAnimation();
    void stopAnimation();

signals:
    // Any of the values or states above changed.
    void changed();

private:
    double mMinValue = 0.0;
    double mMaxValue = 100.0;
    double mValue = 0.0;
    bool mIndeterminate = true;
    bool mAnimating = false;
};
