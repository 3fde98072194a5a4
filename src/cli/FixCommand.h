#pragma once

#include <QString>
#include <QStringList>

#include <cstdio>
#include <memory>

class ClosedOutputNotifier;
class FixReport;
class MainController;

// `quillbeat-cli fix [--folder DIR | --library | --playlist NAME] [--xml
// FILE] [--check LIST] [--overwrite LIST] [--method earliest|duplicates]
// [--serial] [--dry-run] [--yes] [--json]`: the gathering run over every
// song of a source. The checks, overwrites and album choice default to the
// window's saved ones. Each song (FixReport) goes to standard output with
// what changed or why not, a progress line to standard error when that is a
// terminal. Ctrl-C stops the run as the Stop button does; a second Ctrl-C
// ends the program at once, which is never in the middle of writing a file
// (writes run to their end before the signal is looked at). A closed
// standard output (`fix | head`) stops the run as the first Ctrl-C does.
//
// Exit status (ExitStatus): 0 finished, 1 a song could not be written or
// nothing could be loaded, 2 bad arguments, 3 replacing titles declined, 4
// every web source failed for every song, 130 interrupted, 141 standard
// output closed.
class FixCommand
{
public:
    FixCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    ~FixCommand();
    int run();

private:
    // Asks before existing titles are replaced; false to stop.
    bool confirmOverwriteTitle() const;
    void connectOutput(MainController& controller, FixReport& report);
    void showProgress(MainController& controller);
    // Clears the progress line before `text` goes out.
    void printAboveProgress(std::FILE* to, const QString& text);

    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
    bool mAssumeYes = false;
    bool mTerminal = false;
    std::unique_ptr<ClosedOutputNotifier> mOutputWatch;
    QString mProgressLine;
};
