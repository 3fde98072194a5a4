#include "LyricsPanel.h"

#include "SongCells.h"

#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"

#include <QPlainTextEdit>

LyricsPanel::LyricsPanel(QWidget* parent)
    : QDockWidget(LocalizedStrings::text(QStringLiteral("LyricsPanelTitle")), parent),
      mText(new QPlainTextEdit)
{
    setObjectName(QStringLiteral("LyricsPanel"));
    mText->setReadOnly(true);
    mText->setAccessibleName(LocalizedStrings::text(QStringLiteral("LyricsPanelTitle")));
    setWidget(mText);
    showSong(nullptr, 0);
}

void LyricsPanel::showSong(const std::shared_ptr<SongFile>& song, int selectedCount)
{
    AudioInfoTag* tag = song ? SongCells::tagForDisplay(*song) : nullptr;
    QString lyrics = tag ? tag->lyrics() : QString();
    if (selectedCount != 1)
        mText->setPlaceholderText(LocalizedStrings::text(
            selectedCount == 0 ? QStringLiteral("LyricsNoSelection") : QStringLiteral("LyricsManySelected")));
    else
        mText->setPlaceholderText(LocalizedStrings::text(QStringLiteral("LyricsNone")));
    mText->setPlainText(selectedCount == 1 ? lyrics : QString());
}

QString LyricsPanel::shownText() const
{
    return mText->toPlainText();
}
