#pragma once

#include <QList>

// The exit statuses of quillbeat-cli, one meaning each. Every command's
// help lists those it can end with; the texts are "CliExit<number>".
enum class ExitStatus : int
{
    // Everything asked for was done.
    Ok = 0,
    // A song, file, library or history could not be read or written; each
    // is named on standard error with the reason.
    Failed = 1,
    // The command line was wrong, or named something that does not exist
    // (a setting, an operation of the history).
    Usage = 2,
    // A question was answered no, or could not be asked (no terminal and no
    // --yes): nothing was written.
    Declined = 3,
    // Every web source failed for every song looked up: nothing could be
    // asked (no network, a host not found, a server that does not answer).
    SourcesFailed = 4,
    // Stopped with Ctrl-C, as shells report SIGINT.
    Interrupted = 130,
    // Standard output was closed before the command was done (`| head`), as
    // shells report SIGPIPE.
    OutputClosed = 141
};

constexpr int exitCode(ExitStatus status)
{
    return static_cast<int>(status);
}
