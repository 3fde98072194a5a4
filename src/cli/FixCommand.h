#pragma once

#include <QString>
#include <QStringList>

#include <cstdio>
#include <memory>

class ClosedOutputNotifier;
class MainController;

// `quillbeat-cli fix [--folder DIR | --library [--xml FILE] | --playlist
// NAME [--xml FILE]] [--check LIST] [--overwrite LIST] [--method
// earliest|duplicates] [--serial] [--dry-run] [--yes]`: the gathering run
// over every song of a source. The checks, overwrites and album choice
// default to the window's saved ones. The activity-log lines (and what
// changed in each song) go to standard output, a progress line to standard
// error when that is a terminal. Ctrl-C stops the run as the Stop button
// does; a second Ctrl-C ends the program at once, which is never in the
// middle of writing a file (writes run to their end before the signal is
// looked at). A closed standard output (`fix | head`) stops the run as the
// first Ctrl-C does.
//
// Exit status: 0 when the run finished, 1 when a song could not be
// written or nothing could be loaded, 2 for bad arguments, 130 when
// interrupted, 141 when standard output was closed.
class FixCommand
{
public:
    FixCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    ~FixCommand();
    int run();

private:
    int usage(const QString& badArgument);
    // Asks before existing titles are replaced; false to stop.
    bool confirmOverwriteTitle() const;
    void connectOutput(MainController& controller);
    void showProgress(MainController& controller);
    // Clears the progress line before `text` goes out.
    void printAboveProgress(std::FILE* to, const QString& text);

    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
    bool mAssumeYes = false;
    bool mTerminal = false;
    int mWriteFailures = 0;
    std::unique_ptr<ClosedOutputNotifier> mOutputWatch;
    QString mProgressLine;
};
