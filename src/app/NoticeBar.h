#pragma once

#include <QFrame>
#include <QString>
#include <QStringList>

class QLabel;
class QToolButton;

// A bar above the table that tells the user, in words, what went wrong
// (a file that could not be written, a folder that could not be read...)
// until it is closed. The newest notice is shown; earlier ones of the same
// moment are counted and listed in its tool tip.
class NoticeBar : public QFrame
{
    Q_OBJECT

public:
    static constexpr int kRemembered = 20;

    explicit NoticeBar(QWidget* parent = nullptr);

    // A notice with a `kind` replaces the last one of the same kind (a count
    // that grows is told once, as it is now).
    void showNotice(const QString& text, const QString& kind = QString());
    // The notices shown since the bar was last closed, oldest first.
    QStringList notices() const { return mNotices; }
    // The text shown now.
    QString text() const;
    void dismiss();

private:
    QLabel* mIcon;
    QLabel* mText;
    QToolButton* mClose;
    QStringList mNotices;
    QStringList mKinds;
};
