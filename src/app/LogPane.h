#pragma once

#include <QColor>
#include <QList>
#include <QPlainTextEdit>
#include <QString>
#include <QTimer>

// The activity view: the run's and the loading's log lines in their
// colours, readable on the palette's background. Lines are gathered and
// added a few times a second, so that thousands of them (a folder of
// unreadable files) cost one layout, not thousands; the oldest lines go
// beyond a limit.
class LogPane : public QPlainTextEdit
{
    Q_OBJECT

public:
    static constexpr int kMaximumLines = 20000;
    static constexpr int kFlushIntervalMs = 80;

    explicit LogPane(QWidget* parent = nullptr);

    void addLine(const QString& text, const QColor& color);
    // Adds the lines waiting now.
    void flush();

protected:
    void changeEvent(QEvent* event) override;

private:
    struct Line
    {
        QString text;
        QColor color;
    };
    QList<Line> mWaiting;
    QTimer mFlushTimer;
};
