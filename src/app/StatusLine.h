#pragma once

#include <QWidget>

class ProgressIndicator;
class QLabel;
class QProgressBar;

// The line under the table: how many songs are shown, what the run is
// doing, the run's progress and the current song's, and whether tags are
// still being read in the background.
class StatusLine : public QWidget
{
    Q_OBJECT

public:
    explicit StatusLine(QWidget* parent = nullptr);

    // "SearchAll" (all songs shown) or "SearchSubset" (shown of all).
    void setCounts(qsizetype shown, qsizetype total);
    void setRunText(const QString& text);
    void setReadingTags(bool reading);
    // The bars follow the run's progress indicators.
    void followProgress(ProgressIndicator* overall, ProgressIndicator* song);

    QString countsText() const;
    QString runText() const;

private:
    static void bind(QProgressBar* bar, ProgressIndicator* indicator);

    QLabel* mCounts;
    QLabel* mRunText;
    QProgressBar* mOverall;
    QProgressBar* mSong;
    QLabel* mReadingTags;
};
