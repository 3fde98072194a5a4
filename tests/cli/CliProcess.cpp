#include "CliProcess.h"

#include "TestSupport.h"

#include <QDir>
#include <QJsonDocument>

namespace {

// Waits for the program (turning the event loop when `serving`), kills it
// when it takes longer than allowed, and collects what it left.
CliProcess::Outcome finish(QProcess& process, bool serving, int timeoutMs)
{
    CliProcess::Outcome outcome;
    outcome.finished =
        serving ? TestHttpServer::waitFor([&] { return process.state() == QProcess::NotRunning; }, timeoutMs)
                : process.waitForFinished(timeoutMs);
    if (!outcome.finished) {
        process.kill();
        process.waitForFinished();
    }
    outcome.crashed = process.exitStatus() == QProcess::CrashExit;
    outcome.status = process.exitCode();
    outcome.out = process.readAllStandardOutput();
    outcome.err = process.readAllStandardError();
    return outcome;
}

} // namespace

QStringList CliProcess::words(const char* text, const QStringList& fill)
{
    QStringList words = QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (QString& word : words) {
        if (word.size() == 2 && word.at(0) == QLatin1Char('%') && word.at(1).isDigit())
            word = fill.value(word.at(1).digitValue() - 1);
    }
    return words;
}

QProcessEnvironment CliProcess::environment(const QString& resources)
{
    const QString home = QDir::homePath();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), home);
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
    env.insert(QStringLiteral("XDG_CACHE_HOME"), home + QStringLiteral("/.cache"));
    env.insert(QStringLiteral("XDG_DATA_HOME"), home + QStringLiteral("/.local/share"));
    env.insert(QStringLiteral("QUILLBEAT_RESOURCES"),
               resources.isEmpty() ? QStringLiteral(QB_SOURCE_DIR "/tools/demo-resources.plist") : resources);
    return env;
}

bool CliProcess::start(QProcess& process, const QStringList& arguments, const QString& resources)
{
    process.setProcessEnvironment(environment(resources));
    process.start(QStringLiteral(QB_CLI_PATH), arguments);
    return process.waitForStarted();
}

CliProcess::Outcome CliProcess::run(const QStringList& arguments, int timeoutMs, const QString& program)
{
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(program.isEmpty() ? QStringLiteral(QB_CLI_PATH) : program, arguments);
    return process.waitForStarted() ? finish(process, false, timeoutMs) : Outcome();
}

CliProcess::Outcome CliProcess::runServing(const QStringList& arguments, const QString& resources,
                                           int timeoutMs)
{
    QProcess process;
    return start(process, arguments, resources) ? finish(process, true, timeoutMs) : Outcome();
}

TestHttpServer::Response CliProcess::silence()
{
    TestHttpServer::Response quiet;
    quiet.neverAnswer = true;
    return quiet;
}

QString CliProcess::settingsPath()
{
    return QDir::homePath() + QStringLiteral("/.config/Wendmark/Quillbeat.conf");
}

QString CliProcess::musicBrainzResources(const QString& name, const QString& root)
{
    QString base = root;
    if (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    const QString path =
        TestSupport::scratchFolder() + QStringLiteral("/resources-") + name + QStringLiteral(".plist");
    const QString resources = QStringLiteral(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>sourcelist</key><array><string>MusicBrainzInterface</string></array>
<key>res_MusicBrainzInterface</key><dict>
<key>releaseSearchURL</key><string>%1/ws/2/release</string>
<key>recordingSearchURL</key><string>%1/ws/2/recording</string>
<key>releaseLookupURL</key><string>%1/ws/2/release/%@?fmt=json</string>
<key>coverArtURL</key><string>%1/cover/%@/front-%@</string>
<key>minIntervalSeconds</key><integer>0</integer></dict></dict></plist>
)")
                                  .arg(base);
    return TestSupport::writeFile(path, resources.toUtf8()) ? path : QString();
}

bool CliProcess::setPreference(const QString& key, const QString& value)
{
    return run(value.isNull() ? QStringList{QStringLiteral("prefs"), QStringLiteral("--reset"), key}
                              : QStringList{QStringLiteral("prefs"), key, value})
               .status == 0;
}

QList<QJsonObject> CliProcess::jsonLines(const QByteArray& output)
{
    QList<QJsonObject> objects;
    for (const QByteArray& line : output.split('\n')) {
        if (!line.trimmed().isEmpty())
            objects.append(QJsonDocument::fromJson(line).object());
    }
    return objects;
}

QJsonObject CliProcess::jsonLineOfKind(const QByteArray& output, const QString& kind)
{
    QJsonObject found;
    for (const QJsonObject& object : jsonLines(output)) {
        if (object.value(QStringLiteral("kind")).toString() == kind)
            found = object;
    }
    return found;
}
