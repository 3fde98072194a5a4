#pragma once

#include "TestHttpServer.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
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

    // `text` split at blanks, an argument list as on a shell line, with the
    // words "%1", "%2"... replaced by the items of `fill`.
    static QStringList words(const char* text, const QStringList& fill = {});
    // `resources` is the file for QUILLBEAT_RESOURCES (none: the demo's).
    static QProcessEnvironment environment(const QString& resources = QString());
    // Starts the program with `arguments` in `process` (not waiting).
    static bool start(QProcess& process, const QStringList& arguments, const QString& resources = QString());
    // Runs quillbeat-cli (or `program`, e.g. a shell that starts it).
    static Outcome run(const QStringList& arguments, int timeoutMs = 60000,
                       const QString& program = QString());
    // Runs quillbeat-cli while this thread's event loop turns, so that the
    // local test server answers meanwhile.
    static Outcome runServing(const QStringList& arguments, const QString& resources = QString(),
                              int timeoutMs = 60000);
    // Resources that send the MusicBrainz source (the only one listed) to
    // the server at `root`, written under `name`.
    static QString musicBrainzResources(const QString& name, const QString& root);
    // Stores a setting as a user would (`prefs KEY VALUE`); a null value
    // resets it.
    static bool setPreference(const QString& key, const QString& value);
    // The objects of output written one JSON object per line.
    static QList<QJsonObject> jsonLines(const QByteArray& output);
    // The line whose "kind" is `kind` (the last such), or an empty object.
    static QJsonObject jsonLineOfKind(const QByteArray& output, const QString& kind);
    // A local server's answer that never comes: the program waits on it.
    static TestHttpServer::Response silence();
    // The program's settings file, as it writes it.
    static QString settingsPath();
};
