#include "LyricsPanel.h"

#include "AppIcons.h"
#include "LyricsTextEdit.h"
#include "SongCells.h"

#include "run/TagChanges.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextBlock>
#include <QVBoxLayout>

namespace {

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

// The song's lyrics; a library song whose file was not read yet is read now
// (its lyrics are not known before).
QString lyricsOf(SongFile& song)
{
    if (SongCells::hasUnreadLibraryTag(song)) {
        song.ensureInfotagIsReal();
        song.infotag();
    }
    AudioInfoTag* tag = SongCells::tagForDisplay(song);
    return tag ? tag->lyrics() : QString();
}

} // namespace

LyricsPanel::LyricsPanel(QWidget* parent)
    : QDockWidget(text("LyricsPanelTitle"), parent), mHeading(new QLabel), mNote(new QLabel),
      mText(new LyricsTextEdit),
      mRemove(new QPushButton(AppIcons::icon(QStringLiteral("remove")), text("LyricsRemove")))
{
    setObjectName(QStringLiteral("LyricsPanel"));
    mHeading->setTextInteractionFlags(Qt::TextSelectableByMouse);
    mHeading->setWordWrap(true);
    mNote->setWordWrap(true);
    mNote->hide();
    mText->setAccessibleName(text("LyricsPanelTitle"));
    mRemove->setToolTip(text("LyricsRemoveToolTip"));
    mPause.setSingleShot(true);
    mPause.setInterval(kPauseMs);

    auto* contents = new QWidget;
    auto* layout = new QVBoxLayout(contents);
    layout->setContentsMargins(6, 4, 6, 6);
    auto* top = new QHBoxLayout;
    top->addWidget(mHeading, 1);
    top->addWidget(mRemove);
    layout->addLayout(top);
    layout->addWidget(mNote);
    layout->addWidget(mText, 1);
    setWidget(contents);

    connect(mText, &QPlainTextEdit::textChanged, this, &LyricsPanel::textEdited);
    connect(&mPause, &QTimer::timeout, this, &LyricsPanel::notifyNow);
    connect(mRemove, &QPushButton::clicked, this, [this] {
        // A removal overrides what was typed.
        mPause.stop();
        mModified = false;
        emit removeRequested(mSongs);
    });
    showSongs({});
}

void LyricsPanel::showSongs(const QList<std::shared_ptr<SongFile>>& songs)
{
    const bool sameSong = songs.size() == 1 && mSongs.size() == 1 && songs.first() == mSongs.first();
    // What was typed belongs to the song it was typed for.
    if (!sameSong)
        flushEdits();
    mSongs = songs;
    mFilling = true;
    if (songs.size() == 1) {
        SongFile& song = *songs.first();
        AudioInfoTag* tag = SongCells::tagForDisplay(song);
        const QString artist = tag ? tag->artist() : QString();
        const QString title = tag ? tag->title() : song.filename();
        mHeading->setText(LocalizedStrings::format(QStringLiteral("LyricsHeading"), artist, title));
        const QString lyrics = lyricsOf(song);
        // An edit in progress and the caret survive a refresh of the song.
        if (!(sameSong && mModified) && lyrics != mText->toPlainText()) {
            mPause.stop();
            mModified = false;
            mText->showText(lyrics);
        }
        mText->setPlaceholderText(text("LyricsNone"));
        // Lyrics too long to be written again are shown, not edited.
        const bool tooLong = lyrics.size() > TagChanges::kMaxLyricsLength;
        const bool writable = song.canWriteToOriginalPath() && !tooLong;
        mNote->setText(tooLong
                           ? LocalizedStrings::format(QStringLiteral("LyricsTooLong"), qint64(lyrics.size()),
                                                      qint64(TagChanges::kMaxLyricsLength))
                           : LocalizedStrings::format(QStringLiteral("LyricsCantChange"), song.filename()));
        mNote->setVisible(!writable);
        setEditable(writable);
        mRemove->setVisible(writable && !mText->toPlainText().isEmpty());
    } else {
        mPause.stop();
        mModified = false;
        mHeading->setText(songs.isEmpty() ? text("LyricsNothingSelected")
                                          : LocalizedStrings::format(QStringLiteral("LyricsMultipleSelected"),
                                                                     qint64(songs.size())));
        mText->clear();
        mText->setPlaceholderText(text(songs.isEmpty() ? "LyricsNoSelection" : "LyricsManySelected"));
        mNote->hide();
        setEditable(false);
        bool anyLyrics = false;
        for (const std::shared_ptr<SongFile>& song : songs) {
            AudioInfoTag* tag = SongCells::tagForDisplay(*song);
            if (tag && !tag->lyrics().isEmpty()) {
                anyLyrics = true;
                break;
            }
        }
        mRemove->setVisible(anyLyrics);
    }
    mFilling = false;
    highlight();
}

void LyricsPanel::setEditable(bool editable)
{
    mText->setReadOnly(!editable);
    mText->setTextInteractionFlags(
        editable ? Qt::TextEditorInteraction
                 : (mSongs.size() == 1 ? Qt::TextSelectableByMouse : Qt::NoTextInteraction));
    // The song state and the no-song state look different.
    QPalette colours = palette();
    if (mSongs.size() != 1)
        colours.setColor(QPalette::Base, colours.color(QPalette::Window));
    mText->setPalette(colours);
}

void LyricsPanel::setHighlightWords(const QStringList& words)
{
    mWords = words;
    highlight();
}

void LyricsPanel::textEdited()
{
    if (mFilling || mSongs.size() != 1 || mText->isReadOnly())
        return;
    mModified = true;
    mPause.start();
    mRemove->setVisible(!mText->toPlainText().isEmpty());
    highlight();
}

void LyricsPanel::notifyNow()
{
    mPause.stop();
    if (!mModified || mSongs.size() != 1)
        return;
    mModified = false;
    emit lyricsEdited(mSongs.first(), mText->toPlainText());
}

void LyricsPanel::flushEdits()
{
    if (mModified)
        notifyNow();
}

void LyricsPanel::highlight()
{
    QList<QTextEdit::ExtraSelection> marks;
    const QString lyrics = mText->toPlainText();
    QTextCharFormat format;
    // Dark text on yellow: readable in a light and in a dark palette.
    format.setBackground(QColor(255, 226, 64));
    format.setForeground(QColor(Qt::black));
    for (const QString& word : std::as_const(mWords)) {
        if (word.isEmpty())
            continue;
        for (qsizetype at = lyrics.indexOf(word, 0, Qt::CaseInsensitive);
             at >= 0 && marks.size() < kMostHighlights;
             at = lyrics.indexOf(word, at + word.size(), Qt::CaseInsensitive)) {
            QTextCursor cursor(mText->document());
            cursor.setPosition(int(at));
            cursor.setPosition(int(at + word.size()), QTextCursor::KeepAnchor);
            marks.append({cursor, format});
        }
    }
    std::sort(marks.begin(), marks.end(),
              [](const QTextEdit::ExtraSelection& a, const QTextEdit::ExtraSelection& b) {
                  return a.cursor.selectionStart() < b.cursor.selectionStart();
              });
    mText->setExtraSelections(marks);
}

QString LyricsPanel::shownText() const
{
    return mText->toPlainText();
}

QString LyricsPanel::heading() const
{
    return mHeading->text();
}

QStringList LyricsPanel::highlightedText() const
{
    QStringList stretches;
    for (const QTextEdit::ExtraSelection& mark : mText->extraSelections())
        stretches.append(mark.cursor.selectedText());
    return stretches;
}
