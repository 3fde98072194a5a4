#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

QString TestSupport::scratchFolder()
{
    static QTemporaryDir dir;
    return dir.path();
}

QString TestSupport::testFolder(const QString& group)
{
    const QString folder =
        scratchFolder() + QLatin1Char('/') + group + QLatin1Char('/') +
        QString::fromLatin1(::testing::UnitTest::GetInstance()->current_test_info()->name());
    QDir(folder).removeRecursively();
    QDir().mkpath(folder);
    return folder;
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

QByteArray TestSupport::runPython(const char* script, const QStringList& arguments)
{
    QProcess python;
    python.start(pythonWithMutagen(),
                 QStringList{QStringLiteral("-c"), QString::fromUtf8(script)} + arguments);
    if (!python.waitForFinished(60000) || python.exitStatus() != QProcess::NormalExit ||
        python.exitCode() != 0) {
        ADD_FAILURE() << python.readAllStandardError().toStdString();
        return QByteArray();
    }
    return python.readAllStandardOutput();
}

bool TestSupport::isCompleteWrite(const QByteArray& now, const QByteArray& complete)
{
    if (now.size() != complete.size())
        return false;
    int differing = 0;
    for (qsizetype i = 0; i < now.size() && differing <= 12; ++i)
        differing += now[i] != complete[i] ? 1 : 0;
    return differing <= 12;
}
