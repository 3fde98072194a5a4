#pragma once

#include <QObject>

#include <cstdio>
#include <memory>

class QSocketNotifier;

// Notices that the reader of an output went away (`quillbeat-cli fix | head
// -2`), so that a command stops instead of working on for nobody. SIGPIPE is
// ignored, so a write to a closed pipe fails: check() after writing sees
// that. When the output is a pipe, the event loop also learns it at once
// from the pipe itself (its writing end reports an error once no reader is
// left), even while nothing is being written, e.g. while a lookup waits.
class ClosedOutputNotifier : public QObject
{
    Q_OBJECT

public:
    explicit ClosedOutputNotifier(std::FILE* stream, QObject* parent = nullptr);
    ~ClosedOutputNotifier() override;

    // After a write: true (and closed() once) when the stream has failed.
    bool check();
    bool isClosed() const { return mClosed; }

signals:
    void closed();

private:
    void pipeActivated();
    void markClosed();

    std::FILE* mStream;
    std::unique_ptr<QSocketNotifier> mPipe;
    bool mClosed = false;
};
