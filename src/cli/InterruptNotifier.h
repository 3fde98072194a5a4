#pragma once

#include <QObject>

#include <memory>

class QSocketNotifier;

// Turns Ctrl-C (SIGINT) into a signal on the event loop: the handler only
// writes one byte into a pipe, which the loop reads on its next turn. The
// previous disposition of SIGINT comes back when the notifier goes. One at
// a time.
class InterruptNotifier : public QObject
{
    Q_OBJECT

public:
    explicit InterruptNotifier(QObject* parent = nullptr);
    ~InterruptNotifier() override;

    bool isInstalled() const { return mInstalled; }

signals:
    // The `count`th Ctrl-C since the notifier was made.
    void interrupted(int count);

private:
    void readPipe();

    std::unique_ptr<QSocketNotifier> mNotifier;
    int mCount = 0;
    bool mInstalled = false;
};
