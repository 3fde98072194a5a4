#include "CliProcess.h"

#include "TestHttpServer.h"
#include "TestSupport.h"

#include <QDir>
#include <QJsonDocument>

namespace {

QString home()
{
    return QDir::homePath();
}

} // namespace

QProcessEnvironment CliProcess::environment()
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), home());
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), home() + QStringLiteral("/.config"));
    env.insert(QStringLiteral("XDG_CACHE_HOME"), home() + QStringLiteral("/.cache"));
    env.insert(QStringLiteral("XDG_DATA_HOME"), home() + QStringLiteral("/.local/share"));
    env.insert(QStringLiteral("QUILLBEAT_RESOURCES"),
               QStringLiteral(QB_SOURCE_DIR "/tools/demo-resources.plist"));
    return env;
}

bool CliProcess::start(QProcess& process, const QStringList& arguments)
{
    process.setProcessEnvironment(environment());
    process.start(QStringLiteral(QB_CLI_PATH), arguments);
    return process.waitForStarted();
}

CliProcess::Outcome CliProcess::run(const QStringList& arguments, int timeoutMs, const QString& program)
{
    Outcome outcome;
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(program.isEmpty() ? QStringLiteral(QB_CLI_PATH) : program, arguments);
    if (!process.waitForStarted())
        return outcome;
    outcome.finished = process.waitForFinished(timeoutMs);
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

QString CliProcess::settingsPath()
{
    return home() + QStringLiteral("/.config/Wendmark/Quillbeat.conf");
}

CliProcess::Outcome CliProcess::runServing(const QStringList& arguments, const QString& resources,
                                           int timeoutMs)
{
    Outcome outcome;
    QProcess process;
    QProcessEnvironment env = environment();
    if (!resources.isEmpty())
        env.insert(QStringLiteral("QUILLBEAT_RESOURCES"), resources);
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(QB_CLI_PATH), arguments);
    if (!process.waitForStarted())
        return outcome;
    outcome.finished =
        TestHttpServer::waitFor([&] { return process.state() == QProcess::NotRunning; }, timeoutMs);
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

QString CliProcess::musicBrainzResources(const QString& name, const QString& root)
{
    QString base = root;
    if (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    const QString path =
        TestSupport::scratchFolder() + QStringLiteral("/resources-") + name + QStringLiteral(".plist");
    const QString resources =
        QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                       "<key>sourcelist</key><array><string>MusicBrainzInterface</string></array>"
                       "<key>res_MusicBrainzInterface</key><dict>"
                       "<key>releaseSearchURL</key><string>%1/ws/2/release</string>"
                       "<key>recordingSearchURL</key><string>%1/ws/2/recording</string>"
                       "<key>releaseLookupURL</key><string>%1/ws/2/release/%@?fmt=json</string>"
                       "<key>minIntervalSeconds</key><integer>0</integer></dict></dict></plist>\n")
            .arg(base);
    return TestSupport::writeFile(path, resources.toUtf8()) ? path : QString();
}

bool CliProcess::setPreference(const QString& key, const QString& value)
{
    const QStringList arguments = value.isNull()
                                      ? QStringList{QStringLiteral("prefs"), QStringLiteral("--reset"), key}
                                      : QStringList{QStringLiteral("prefs"), key, value};
    return run(arguments).status == 0;
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
