#include "ThemedSvgIconEngine.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QPixmapCache>
#include <QSvgRenderer>

ThemedSvgIconEngine::ThemedSvgIconEngine(const QString& resourcePath) : mPath(resourcePath)
{
    QFile file(resourcePath);
    if (file.open(QIODevice::ReadOnly))
        mSource = file.readAll();
}

QByteArray ThemedSvgIconEngine::themedSource(QIcon::Mode mode) const
{
    if (!mSource.contains("currentColor"))
        return mSource;
    const QPalette palette = QGuiApplication::palette();
    QColor color;
    switch (mode) {
    case QIcon::Disabled:
        color = palette.color(QPalette::Disabled, QPalette::WindowText);
        break;
    case QIcon::Selected:
        color = palette.color(QPalette::Active, QPalette::HighlightedText);
        break;
    default:
        color = palette.color(QPalette::Active, QPalette::WindowText);
        break;
    }
    QByteArray themed = mSource;
    return themed.replace("currentColor", color.name().toLatin1());
}

void ThemedSvgIconEngine::paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state)
{
    Q_UNUSED(state);
    QSvgRenderer renderer(themedSource(mode));
    if (!renderer.isValid())
        return;
    // Fitted into the rectangle with the picture's own proportions.
    QSizeF size = renderer.defaultSize();
    size.scale(rect.size(), Qt::KeepAspectRatio);
    const QRectF target(rect.x() + (rect.width() - size.width()) / 2.0,
                        rect.y() + (rect.height() - size.height()) / 2.0, size.width(), size.height());
    renderer.render(painter, target);
}

QPixmap ThemedSvgIconEngine::pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state)
{
    if (size.isEmpty())
        return {};
    const QByteArray source = themedSource(mode);
    const QString cacheKey = QStringLiteral("qb-svg:%1:%2x%3:%4")
                                 .arg(mPath)
                                 .arg(size.width())
                                 .arg(size.height())
                                 .arg(qHash(source));
    QPixmap pixmap;
    if (QPixmapCache::find(cacheKey, &pixmap))
        return pixmap;
    pixmap = QPixmap(size);
    pixmap.fill(Qt::transparent);
    {
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        paint(&painter, QRect(QPoint(0, 0), size), mode, state);
    }
    QPixmapCache::insert(cacheKey, pixmap);
    return pixmap;
}

QSize ThemedSvgIconEngine::actualSize(const QSize& size, QIcon::Mode mode, QIcon::State state)
{
    Q_UNUSED(mode);
    Q_UNUSED(state);
    return size;
}

QIconEngine* ThemedSvgIconEngine::clone() const
{
    return new ThemedSvgIconEngine(*this);
}

QString ThemedSvgIconEngine::key() const
{
    return QStringLiteral("ThemedSvgIconEngine");
}

QString ThemedSvgIconEngine::iconName()
{
    return QFileInfo(mPath).baseName();
}

bool ThemedSvgIconEngine::isNull()
{
    return mSource.isEmpty();
}
