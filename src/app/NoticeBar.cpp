#include "NoticeBar.h"

#include "AppIcons.h"

#include "support/LocalizedStrings.h"

#include <QAccessible>
#include <QHBoxLayout>
#include <QLabel>
#include <QStyle>
#include <QToolButton>

NoticeBar::NoticeBar(QWidget* parent)
    : QFrame(parent), mIcon(new QLabel(this)), mText(new QLabel(this)), mClose(new QToolButton(this))
{
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::ToolTipBase);
    setForegroundRole(QPalette::ToolTipText);
    setAccessibleName(LocalizedStrings::text(QStringLiteral("NoticeBarName")));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 4, 4, 4);
    const int side = style()->pixelMetric(QStyle::PM_SmallIconSize);
    mIcon->setPixmap(AppIcons::icon(QStringLiteral("problem")).pixmap(side, side));
    mText->setWordWrap(true);
    mText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    mText->setForegroundRole(QPalette::ToolTipText);
    mClose->setAutoRaise(true);
    mClose->setIcon(AppIcons::icon(QStringLiteral("close")));
    mClose->setAccessibleName(LocalizedStrings::text(QStringLiteral("NoticeBarClose")));
    mClose->setToolTip(mClose->accessibleName());
    layout->addWidget(mIcon, 0, Qt::AlignTop);
    layout->addWidget(mText, 1);
    layout->addWidget(mClose, 0, Qt::AlignTop);
    connect(mClose, &QToolButton::clicked, this, &NoticeBar::dismiss);
    hide();
}

void NoticeBar::showNotice(const QString& text, const QString& kind)
{
    if (text.isEmpty())
        return;
    const qsizetype same = kind.isEmpty() ? -1 : mKinds.lastIndexOf(kind);
    if (same >= 0) {
        mNotices.removeAt(same);
        mKinds.removeAt(same);
    }
    mNotices.append(text);
    mKinds.append(kind);
    if (mNotices.size() > kRemembered) {
        mNotices.removeFirst();
        mKinds.removeFirst();
    }
    const qsizetype earlier = mNotices.size() - 1;
    mText->setText(earlier > 0 ? LocalizedStrings::format(QStringLiteral("NoticeAndEarlier"), text, earlier)
                               : text);
    setToolTip(mNotices.join(QLatin1Char('\n')));
    show();
    QAccessibleEvent event(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

QString NoticeBar::text() const
{
    return isVisible() || !mNotices.isEmpty() ? mText->text() : QString();
}

void NoticeBar::dismiss()
{
    mNotices.clear();
    mKinds.clear();
    mText->clear();
    hide();
}
