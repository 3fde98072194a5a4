#include "support/ProgressIndicator.h"

ProgressIndicator::ProgressIndicator(QObject* parent)
    : QObject(parent)
{
}

void ProgressIndicator::setMinValue(double value)
{
    mMinValue = value;
    emit changed();
}

void ProgressIndicator::setMaxValue(double value)
{
    mMaxValue = value;
    emit changed();
}

void ProgressIndicator::setDoubleValue(double value)
{
    mValue = value;
    emit changed();
}

void ProgressIndicator::incrementBy(double delta)
{
    mValue += delta;
    emit changed();
}

void ProgressIndicator::setIndeterminate(bool indeterminate)
{
    mIndeterminate = indeterminate;
    if (!indeterminate)
        mAnimating = false;
    emit changed();
}

void ProgressIndicator::startAnimation()
{
    mAnimating = true;
    emit changed();
}

void ProgressIndicator::stopAnimation()
{
    mAnimating = false;
    emit changed();
}
