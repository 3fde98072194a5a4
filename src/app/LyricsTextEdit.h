#pragma once

#include <QPlainTextEdit>

// The lyrics window's text. Lines are wrapped to the window, unless a line
// is so long (no song has one: a tag full of garbage, a page pasted whole)
// that wrapping it would keep the window busy for seconds at every key; such
// text is shown unwrapped, pasted or shown.
class LyricsTextEdit : public QPlainTextEdit
{
    Q_OBJECT

public:
    // The longest line still wrapped.
    static constexpr qsizetype kLongestWrappedLine = 4000;

    explicit LyricsTextEdit(QWidget* parent = nullptr);

    // Shows the text, unwrapped when a line of it is too long to wrap.
    void showText(const QString& text);

protected:
    void insertFromMimeData(const QMimeData* source) override;
};
