#include "ArtworkPanel.h"

#include "AppIcons.h"

#include "run/ArtworkImport.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "web/ArtworkFitter.h"

#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QImageReader>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QPainter>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// Pictures are decoded for the view no larger than this on their longer
// side (sharp in a wide panel at pixel ratio 2).
constexpr int kShownSide = 1024;

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

// The picture, or a drawing and a line that say why there is none.
class PictureWell : public QWidget
{
public:
    void setImage(const QImage& image, const QString& message)
    {
        mImage = image;
        mMessage = message;
        update();
    }
    QSize sizeHint() const override { return {220, 180}; }
    QSize minimumSizeHint() const override { return {140, 150}; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        const QRect area = contentsRect().adjusted(4, 4, -4, -4);
        if (!mImage.isNull()) {
            const QSize fitted = mImage.size().scaled(area.size(), Qt::KeepAspectRatio);
            const QRect target(area.center() - QPoint(fitted.width() / 2, fitted.height() / 2), fitted);
            painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
            painter.drawImage(target, mImage);
            return;
        }
        const int side = std::min(64, area.height() / 2);
        const QRect icon(area.center().x() - side / 2, area.top() + area.height() / 4 - side / 4, side, side);
        AppIcons::icon(QStringLiteral("artwork-none")).paint(&painter, icon);
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(
            QRect(area.left(), icon.bottom() + 8, area.width(), area.bottom() - icon.bottom() - 8),
            Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, mMessage);
    }

private:
    QImage mImage;
    QString mMessage;
};

QToolButton* toolButton(const char* icon, const char* name)
{
    auto* button = new QToolButton;
    button->setIcon(AppIcons::icon(QLatin1String(icon)));
    button->setAutoRaise(true);
    button->setToolTip(text(name));
    button->setAccessibleName(text(name));
    return button;
}

} // namespace

ArtworkPanel::ArtworkPanel(QWidget* parent)
    : QDockWidget(text("ArtworkPanelTitle"), parent), mPicture(new PictureWell), mInfo(new QLabel),
      mPosition(new QLabel), mPrevious(toolButton("previous", "ArtworkPrevious")),
      mNext(toolButton("next", "ArtworkNext")), mRemove(toolButton("remove", "ArtworkRemove"))
{
    setObjectName(QStringLiteral("ArtworkPanel"));
    mPicture->setObjectName(QStringLiteral("ArtworkPicture"));
    mPicture->setFocusPolicy(Qt::StrongFocus);
    mPicture->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    mInfo->setWordWrap(true);
    mInfo->setAlignment(Qt::AlignHCenter);
    mInfo->setTextInteractionFlags(Qt::TextSelectableByMouse);
    mPosition->setAlignment(Qt::AlignCenter);

    auto* contents = new QWidget;
    contents->setAcceptDrops(true);
    auto* layout = new QVBoxLayout(contents);
    layout->setContentsMargins(6, 4, 6, 6);
    layout->addWidget(mPicture, 1);
    auto* controls = new QHBoxLayout;
    controls->addWidget(mPrevious);
    controls->addWidget(mPosition, 1);
    controls->addWidget(mNext);
    controls->addWidget(mRemove);
    layout->addLayout(controls);
    layout->addWidget(mInfo);
    setWidget(contents);
    contents->installEventFilter(this);
    mPicture->installEventFilter(this);

    connect(mPrevious, &QToolButton::clicked, this, [this] { showPicture(mIndex - 1); });
    connect(mNext, &QToolButton::clicked, this, [this] { showPicture(mIndex + 1); });
    connect(mRemove, &QToolButton::clicked, this, &ArtworkPanel::removeRequested);
    // A hidden view reads no file; it catches up when it is shown.
    connect(this, &QDockWidget::visibilityChanged, this, [this](bool visible) {
        if (visible && mStale)
            reload(mIndex);
    });
    showSongs({});
}

void ArtworkPanel::showSongs(const QList<std::shared_ptr<SongFile>>& songs)
{
    const bool sameSong = songs.size() == 1 && mSongs.size() == 1 && songs.first() == mSongs.first();
    mSongs = songs;
    reload(sameSong ? mIndex : 0);
}

void ArtworkPanel::reload(int index)
{
    if (!isVisible() && !mSongs.isEmpty()) {
        mStale = true;
        mPictures.clear();
        return;
    }
    mStale = false;
    readPictures();
    showPicture(index < 0 ? int(mPictures.size()) - 1 : std::min(index, int(mPictures.size()) - 1));
}

void ArtworkPanel::readPictures()
{
    mPictures.clear();
    mMessage.clear();
    if (mSongs.size() != 1) {
        mMessage = mSongs.isEmpty() ? text("ArtworkNoSelection")
                                    : LocalizedStrings::format(QStringLiteral("ArtworkManySelected"),
                                                               qint64(mSongs.size()));
        return;
    }
    const SongFile& song = *mSongs.first();
    if (!QFileInfo::exists(song.path())) {
        mMessage = LocalizedStrings::format(QStringLiteral("ArtworkSongGone"), song.filename());
        return;
    }
    const std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagFromFileAtPath(song.path(), false);
    if (!tag) {
        mMessage = LocalizedStrings::format(QStringLiteral("ArtworkSongUnreadable"), song.filename());
        return;
    }
    mPictures = tag->images();
    if (mPictures.isEmpty())
        mMessage = text("ArtworkNone");
}

void ArtworkPanel::showPicture(int index)
{
    mIndex = std::clamp(index, 0, std::max(0, int(mPictures.size()) - 1));
    mShown = QImage();
    QString problem;
    if (!mPictures.isEmpty()) {
        QBuffer buffer;
        buffer.setData(mPictures.at(mIndex).imageData());
        buffer.open(QIODevice::ReadOnly);
        QImageReader reader(&buffer);
        const QSize size = reader.size();
        if (size.isValid() && qint64(size.width()) * size.height() > ArtworkFitter::MaximumPixels) {
            problem = text("ArtworkNotShownTooLarge");
        } else {
            if (size.isValid() && std::max(size.width(), size.height()) > kShownSide)
                reader.setScaledSize(size.scaled(kShownSide, kShownSide, Qt::KeepAspectRatio));
            mShown = reader.read();
            if (mShown.isNull())
                problem = reader.errorString();
        }
    }
    mShownMessage =
        problem.isEmpty() ? mMessage : LocalizedStrings::format(QStringLiteral("ArtworkNotShown"), problem);
    static_cast<PictureWell*>(mPicture)->setImage(mShown, mShownMessage);
    updateControls();
}

void ArtworkPanel::updateControls()
{
    const int count = int(mPictures.size());
    mPrevious->setEnabled(mIndex > 0);
    mNext->setEnabled(mIndex + 1 < count);
    mPrevious->setVisible(count > 1);
    mNext->setVisible(count > 1);
    mPosition->setText(count > 1
                           ? LocalizedStrings::format(QStringLiteral("ArtworkPosition"), mIndex + 1, count)
                           : QString());
    mRemove->setEnabled(count > 0 || mSongs.size() > 1);
    const QString description = count > 0 ? ArtworkImport::description(mPictures.at(mIndex)) : QString();
    mInfo->setText(description);
    mPicture->setAccessibleName(count > 0 ? LocalizedStrings::format(QStringLiteral("ArtworkPictureName"),
                                                                     mIndex + 1, count, description)
                                          : mShownMessage);
}

ID3Image ArtworkPanel::currentPicture() const
{
    return mPictures.isEmpty() ? ID3Image() : mPictures.at(mIndex);
}

QString ArtworkPanel::descriptionText() const
{
    if (mPictures.isEmpty())
        return mShownMessage;
    return mShown.isNull() ? mInfo->text() + QLatin1Char('\n') + mShownMessage : mInfo->text();
}

bool ArtworkPanel::takePicture(const QMimeData* mime, const QString& name)
{
    if (!mime)
        return false;
    for (const QUrl& url : mime->urls()) {
        if (url.isLocalFile()) {
            emit pictureFileGiven(url.toLocalFile());
            return true;
        }
    }
    if (mime->hasImage()) {
        emit pictureImageGiven(qvariant_cast<QImage>(mime->imageData()), name);
        return true;
    }
    return false;
}

bool ArtworkPanel::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto* drag = static_cast<QDragMoveEvent*>(event);
        const QMimeData* mime = drag->mimeData();
        bool local = false;
        for (const QUrl& url : mime->urls())
            local = local || url.isLocalFile();
        if (local || mime->hasImage())
            drag->acceptProposedAction();
        else
            drag->ignore();
        return true;
    }
    case QEvent::Drop: {
        auto* drop = static_cast<QDropEvent*>(event);
        drop->acceptProposedAction();
        if (!takePicture(drop->mimeData(), text("ArtworkDropped")))
            emit unusablePicture(text("ArtworkDropNothing"));
        return true;
    }
    case QEvent::KeyPress: {
        if (watched != mPicture)
            break;
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->matches(QKeySequence::Paste)) {
            if (!takePicture(QApplication::clipboard()->mimeData(), text("ArtworkPasted")))
                emit unusablePicture(text("ArtworkPasteNothing"));
            return true;
        }
        if (key->key() == Qt::Key_Delete || key->key() == Qt::Key_Backspace) {
            if (mRemove->isEnabled())
                emit removeRequested();
            return true;
        }
        if (key->key() == Qt::Key_Left || key->key() == Qt::Key_Right) {
            showPicture(mIndex + (key->key() == Qt::Key_Left ? -1 : 1));
            return true;
        }
        break;
    }
    default:
        break;
    }
    return QDockWidget::eventFilter(watched, event);
}
