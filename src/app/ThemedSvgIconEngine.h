#pragma once

#include <QByteArray>
#include <QIconEngine>
#include <QString>

// Draws one of our SVG pictures at whatever size and pixel ratio is asked,
// so that icons stay sharp on high-density screens. The word "currentColor"
// in a picture stands for the palette's text colour of the icon's mode
// (dimmed when disabled, the highlighted text colour when selected), so
// that line drawings stay readable in a dark palette.
class ThemedSvgIconEngine : public QIconEngine
{
public:
    explicit ThemedSvgIconEngine(const QString& resourcePath);

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override;
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override;
    QSize actualSize(const QSize& size, QIcon::Mode mode, QIcon::State state) override;
    QIconEngine* clone() const override;
    QString key() const override;
    QString iconName() override;
    bool isNull() override;

    // The picture's source with "currentColor" replaced for the mode.
    QByteArray themedSource(QIcon::Mode mode) const;

private:
    QString mPath;
    QByteArray mSource;
};
