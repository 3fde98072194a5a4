#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

QString TestSupport::scratchFolder()
{
    static QTemporaryDir dir;
    return dir.path();
}

QString TestSupport::fixturesFolder()
{
    const QString path = QStringLiteral(QB_TEST_SOURCE_DIR "/../../shared/fixtures");
    return QFileInfo(path).isDir() ? QFileInfo(path).canonicalFilePath() : QString();
}

QByteArray TestSupport::readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool TestSupport::writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

QString TestSupport::pythonWithMutagen()
{
    static const QString found = [] {
        const QStringList candidates = {QStringLiteral("/usr/bin/python3"),
                                        QStandardPaths::findExecutable(QStringLiteral("python3"))};
        for (const QString& python : candidates) {
            if (python.isEmpty() || !QFileInfo(python).isExecutable())
                continue;
            QProcess p;
            p.start(python, {QStringLiteral("-c"), QStringLiteral("import mutagen")});
            if (p.waitForFinished(20000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0)
                return python;
        }
        return QString();
    }();
    return found;
}
