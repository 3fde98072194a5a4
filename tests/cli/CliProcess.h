#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// quillbeat-cli run as a program, as a user runs it, with its settings,
// caches and log in the test program's own home folder, and the demo's
// resources, which send every web source to a closed port of this machine.
class CliProcess
{
public:
    struct Outcome
    {
        bool finished = false; // within the time allowed (a guard against hangs)
        bool crashed = false;
        int status = -1;
        QByteArray out;
        QByteArray err;
    };

    static QProcessEnvironment environment();
    // Starts the program with `arguments` in `process` (not waiting).
    static bool start(QProcess& process, const QStringList& arguments);
    // Runs quillbeat-cli (or `program`, e.g. a shell that starts it).
    static Outcome run(const QStringList& arguments, int timeoutMs = 60000,
                       const QString& program = QString());
    // The program's settings file, as it writes it.
    static QString settingsPath();
};
