#include "LogPane.h"

#include "ReadableColors.h"

#include "support/LocalizedStrings.h"

#include <QEvent>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCharFormat>
#include <QTextCursor>

LogPane::LogPane(QWidget* parent) : QPlainTextEdit(parent)
{
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setMaximumBlockCount(kMaximumLines);
    setAccessibleName(LocalizedStrings::text(QStringLiteral("LogPaneName")));
    setPlaceholderText(LocalizedStrings::text(QStringLiteral("LogPanePlaceholder")));
    mFlushTimer.setSingleShot(true);
    mFlushTimer.setInterval(kFlushIntervalMs);
    connect(&mFlushTimer, &QTimer::timeout, this, &LogPane::flush);
}

void LogPane::addLine(const QString& text, const QColor& color)
{
    mWaiting.append({text, color});
    if (!mFlushTimer.isActive())
        mFlushTimer.start();
}

void LogPane::flush()
{
    mFlushTimer.stop();
    if (mWaiting.isEmpty())
        return;
    QScrollBar* bar = verticalScrollBar();
    const bool atEnd = bar->value() >= bar->maximum() - 2;
    const QColor background = palette().color(QPalette::Base);
    // Of a burst larger than the view keeps, only the newest lines are added.
    const qsizetype first = std::max<qsizetype>(0, mWaiting.size() - kMaximumLines);
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    cursor.beginEditBlock();
    for (qsizetype i = first; i < mWaiting.size(); ++i) {
        const Line& line = mWaiting.at(i);
        QTextCharFormat format;
        if (line.color.isValid() && line.color != QColor(Qt::black))
            format.setForeground(ReadableColors::readableOn(line.color, background));
        else
            format.setForeground(palette().color(QPalette::Text));
        if (!document()->isEmpty())
            cursor.insertBlock();
        cursor.insertText(line.text, format);
    }
    cursor.endEditBlock();
    mWaiting.clear();
    if (atEnd)
        bar->setValue(bar->maximum());
}

void LogPane::changeEvent(QEvent* event)
{
    QPlainTextEdit::changeEvent(event);
    if (event->type() != QEvent::PaletteChange)
        return;
    // The lines already shown take the new background's colours.
    const QColor background = palette().color(QPalette::Base);
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            QTextCharFormat format = fragment.charFormat();
            format.setForeground(ReadableColors::readableOn(format.foreground().color(), background));
            cursor.setPosition(fragment.position());
            cursor.setPosition(fragment.position() + fragment.length(), QTextCursor::KeepAnchor);
            cursor.setCharFormat(format);
        }
    }
    cursor.endEditBlock();
}
