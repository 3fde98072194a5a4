#include "LyricsTextEdit.h"

#include <QMimeData>

namespace {

bool hasLongLine(const QString& text)
{
    qsizetype start = 0;
    while (start < text.size()) {
        qsizetype end = text.indexOf(QLatin1Char('\n'), start);
        if (end < 0)
            end = text.size();
        if (end - start > LyricsTextEdit::kLongestWrappedLine)
            return true;
        start = end + 1;
    }
    return false;
}

} // namespace

LyricsTextEdit::LyricsTextEdit(QWidget* parent) : QPlainTextEdit(parent) {}

void LyricsTextEdit::showText(const QString& text)
{
    // Never wrapped while the long text is there: that would take as long
    // as not avoiding it.
    if (hasLongLine(text)) {
        setLineWrapMode(NoWrap);
        setPlainText(text);
    } else {
        setPlainText(text);
        setLineWrapMode(WidgetWidth);
    }
}

void LyricsTextEdit::insertFromMimeData(const QMimeData* source)
{
    // Set before the text goes in: the wrapping happens as it does.
    if (source && source->hasText() && hasLongLine(source->text()))
        setLineWrapMode(NoWrap);
    QPlainTextEdit::insertFromMimeData(source);
}
