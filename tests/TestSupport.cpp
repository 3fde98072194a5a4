#include "TestSupport.h"

#include "tags/AudioInfoTag.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
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

QString TestSupport::scratchFile(const QString& relative, const QByteArray& bytes)
{
    const QString path = scratchFolder() + QLatin1Char('/') + relative;
    EXPECT_TRUE(writeFile(path, bytes)) << path.toStdString();
    return path;
}

QByteArray TestSupport::pattern(qsizetype size, int seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 state = 0x12345u + quint32(seed) * 7919u;
    for (qsizetype i = 0; i < size; ++i) {
        state = state * 1664525u + 1013904223u;
        bytes[i] = char(state >> 24);
    }
    return bytes;
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

namespace {

struct TagField
{
    const char* name;
    QString (AudioInfoTag::*get)() const;
    void (AudioInfoTag::*set)(const QString&);
};

const TagField kTagFields[] = {
    {"title", &AudioInfoTag::title, &AudioInfoTag::setTitle},
    {"artist", &AudioInfoTag::artist, &AudioInfoTag::setArtist},
    {"album", &AudioInfoTag::album, &AudioInfoTag::setAlbum},
    {"year", &AudioInfoTag::year, &AudioInfoTag::setYear},
    {"genre", &AudioInfoTag::genres, &AudioInfoTag::setGenres},
    {"track", &AudioInfoTag::track, &AudioInfoTag::setTrack},
    {"lyrics", &AudioInfoTag::lyrics, &AudioInfoTag::setLyrics},
    {"bpm", &AudioInfoTag::bpm, &AudioInfoTag::setBPM},
};

const TagField& tagField(const char* name)
{
    for (const TagField& field : kTagFields) {
        if (qstrcmp(field.name, name) == 0)
            return field;
    }
    ADD_FAILURE() << "no tag value " << name;
    return kTagFields[0];
}

} // namespace

bool TestSupport::save(AudioInfoTag& tag, const QString& path)
{
    QString error;
    const bool saved = tag.modifySongFileAtPath(path, &error);
    EXPECT_TRUE(saved) << path.toStdString() << ": " << error.toStdString();
    return saved;
}

void TestSupport::setTagValues(AudioInfoTag& tag, const TagValues& values)
{
    for (const auto& [name, value] : values)
        (tag.*tagField(name).set)(value);
}

void TestSupport::expectTagValues(const AudioInfoTag& tag, const TagValues& values)
{
    for (const auto& [name, value] : values) {
        const QString read = (tag.*tagField(name).get)();
        EXPECT_EQ(read, value) << name;
        EXPECT_EQ(read.isNull(), value.isNull()) << name << " null";
    }
}

void TestSupport::expectJsonValues(const QJsonObject& object, const TagValues& values)
{
    for (const auto& [name, value] : values) {
        const QJsonValue json = object.value(QLatin1String(name));
        QStringList parts;
        for (const QJsonValue& part : json.isArray() ? json.toArray() : QJsonArray{json})
            parts.append(part.isNull() ? QString() : part.toVariant().toString());
        const QString text = json.isNull() || json.isUndefined() ? QString() : parts.join(QLatin1Char('/'));
        EXPECT_EQ(text, value) << name;
        EXPECT_EQ(text.isNull(), value.isNull()) << name << " null";
    }
}
