#include "StatusLine.h"

#include "support/LocalizedStrings.h"
#include "support/ProgressIndicator.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>

namespace {

// Indicator values are doubles; bars count in thousandths.
constexpr double kBarScale = 1000.0;

} // namespace

StatusLine::StatusLine(QWidget* parent)
    : QWidget(parent), mCounts(new QLabel(this)), mRunText(new QLabel(this)),
      mOverall(new QProgressBar(this)), mSong(new QProgressBar(this)), mReadingTags(new QLabel(this))
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 0, 4, 0);
    layout->addWidget(mCounts);
    layout->addSpacing(12);
    layout->addWidget(mRunText, 1);
    layout->addWidget(mReadingTags);
    layout->addWidget(mSong);
    layout->addWidget(mOverall);
    mRunText->setTextFormat(Qt::PlainText);
    mRunText->setMinimumWidth(80);
    mRunText->setAccessibleName(LocalizedStrings::text(QStringLiteral("StatusRunName")));
    mCounts->setAccessibleName(LocalizedStrings::text(QStringLiteral("StatusCountsName")));
    mReadingTags->setText(LocalizedStrings::text(QStringLiteral("ReadingTags")));
    mReadingTags->hide();
    for (QProgressBar* bar : {mOverall, mSong}) {
        bar->setTextVisible(false);
        bar->setMaximumWidth(140);
        bar->setMaximumHeight(14);
        bar->setRange(0, 1);
        bar->setValue(0);
    }
    mOverall->setAccessibleName(LocalizedStrings::text(QStringLiteral("OverallProgressName")));
    mSong->setAccessibleName(LocalizedStrings::text(QStringLiteral("SongProgressName")));
    mSong->setMaximumWidth(70);
}

void StatusLine::setCounts(qsizetype shown, qsizetype total)
{
    mCounts->setText(shown == total ? LocalizedStrings::format(QStringLiteral("SearchAll"), qint64(total))
                                    : LocalizedStrings::format(QStringLiteral("SearchSubset"), qint64(shown),
                                                               qint64(total)));
}

void StatusLine::setRunText(const QString& text)
{
    mRunText->setText(text);
    mRunText->setToolTip(text);
}

void StatusLine::setReadingTags(bool reading)
{
    mReadingTags->setVisible(reading);
}

QString StatusLine::countsText() const
{
    return mCounts->text();
}

QString StatusLine::runText() const
{
    return mRunText->text();
}

void StatusLine::followProgress(ProgressIndicator* overall, ProgressIndicator* song)
{
    bind(mOverall, overall);
    bind(mSong, song);
}

void StatusLine::bind(QProgressBar* bar, ProgressIndicator* indicator)
{
    const auto update = [bar, indicator] {
        // A bar at rest is empty rather than spinning.
        const bool spinning = indicator->isIndeterminate() && indicator->isAnimating();
        if (spinning) {
            bar->setRange(0, 0);
            return;
        }
        bar->setRange(int(indicator->minValue() * kBarScale), int(indicator->maxValue() * kBarScale));
        bar->setValue(int(indicator->doubleValue() * kBarScale));
    };
    QObject::connect(indicator, &ProgressIndicator::changed, bar, update);
    update();
}
