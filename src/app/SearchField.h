#pragma once

#include <QLineEdit>
#include <QTimer>

class QAction;

// The toolbar's search field. Its menu chooses between searching the tags
// and searching the lyrics (kept as "filterLyrics"); the search is asked for
// a moment after the last keystroke, not at every key.
class SearchField : public QLineEdit
{
    Q_OBJECT

public:
    static constexpr int kMaximumWidth = 300;
    static constexpr int kDeferralMs = 200;

    explicit SearchField(QWidget* parent = nullptr);

    bool searchesLyrics() const { return mLyrics; }
    void setSearchesLyrics(bool lyrics);
    // Asks for the search now if one is waiting.
    void searchNow();

signals:
    void searchRequested(const QString& text, bool lyrics);

private:
    void updatePlaceholder();

    QTimer mDeferral;
    bool mLyrics = false;
    QAction* mTagsItem;
    QAction* mLyricsItem;
};
