// One song file read once: the device serves every reader the file's own
// bytes, in a few system calls, and the type the tag is read as is the one
// the bytes and then the name decide.
#include "ID3TestData.h"
#include "Mp4TestFiles.h"
#include "MpegTestFiles.h"
#include "TestSupport.h"

#include "tags/AudioInfoTag.h"
#include "tags/FileIdentity.h"
#include "tags/SongFileDevice.h"
#include "tags/SongFileType.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

using Spec = MpegTestFiles::FrameSpec;

using T = ID3TestData;

QString scratch(const QString& name)
{
    QDir().mkpath(TestSupport::scratchFolder() + QStringLiteral("/device"));
    return TestSupport::scratchFolder() + QStringLiteral("/device/") + name;
}

QString written(const QString& name, const QByteArray& bytes)
{
    return TestSupport::scratchFile(QStringLiteral("device/") + name, bytes);
}

} // namespace

TEST(SongFileDevice, EveryReadGivesTheFileBytes)
{
    const QByteArray bytes = TestSupport::pattern(3 * 1024 * 1024 + 777);
    const qint64 size = bytes.size();
    // Head, reads just past it and far from it, the tail, blocks, long reads,
    // reads across the ends of what is kept, the very end and beyond.
    const qint64 reads[][2] = {
        {0, 8},           {4096, 4096},  {70000, 4096},     {0, 150000},       {900000, 8},
        {2000000, 20},    {2000010, 20}, {1500000, 70000},  {size - 128, 128}, {size - 500000, 8},
        {size - 10, 100}, {size, 10},    {63 * 1024, 8192}, {300000, 16384},   {5, 1048576}};
    const QString path = written(QStringLiteral("pattern.bin"), bytes);
    SongFileDevice file(path);
    SongFileDevice memory(bytes, QStringLiteral("memory"));
    EXPECT_FALSE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    ASSERT_TRUE(memory.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.size(), size);
    EXPECT_EQ(file.identity(), FileIdentity::of(path));
    for (SongFileDevice* device : {&file, &memory}) {
        for (const auto& r : reads) {
            const QByteArray expected = bytes.mid(r[0], r[1]);
            const QString row = device->path() + QStringLiteral(" %1+%2").arg(r[0]).arg(r[1]);
            ASSERT_TRUE(device->seek(r[0])) << qPrintable(row);
            EXPECT_EQ(device->read(r[1]), expected) << qPrintable(row);
            // A view, and a read into a buffer of the caller's, are all or
            // nothing.
            const bool whole = r[0] + r[1] <= size;
            const QByteArrayView view = device->bytesAt(r[0], r[1]);
            EXPECT_EQ(view.toByteArray(), whole ? expected : QByteArray()) << qPrintable(row);
            QByteArray into(r[1], '\0');
            EXPECT_EQ(device->readAt(r[0], into.data(), r[1]), whole) << qPrintable(row);
            if (whole) {
                EXPECT_EQ(into, expected) << qPrintable(row);
            }
        }
    }
}

TEST(SongFileDevice, NamesThatAreNoFilesAreRefusedAtOnce)
{
    const QString fifo = scratch(QStringLiteral("pipe.mp3"));
    QFile::remove(fifo);
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const QString missing = scratch(QStringLiteral("missing.mp3"));
    const struct
    {
        QString path;
        bool special;
    } rows[] = {{fifo, true}, {TestSupport::scratchFolder(), true}, {missing, false}};
    for (const auto& row : rows) {
        SongFileDevice file(row.path);
        EXPECT_FALSE(file.open(QIODevice::ReadOnly)) << qPrintable(row.path);
        EXPECT_EQ(file.isSpecialFile(), row.special) << qPrintable(row.path);
        EXPECT_FALSE(file.identity().isValid()) << qPrintable(row.path);
        EXPECT_FALSE(AudioInfoTag::tagFromFile(file, true)) << qPrintable(row.path);
    }
}

TEST(SongFileDevice, AFileCutShortWhileOpenGivesNoBytes)
{
    const QByteArray bytes = TestSupport::pattern(2 * 1024 * 1024);
    const QString path = written(QStringLiteral("cut.bin"), bytes);
    SongFileDevice file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    ASSERT_TRUE(QFile::resize(path, 1000));
    EXPECT_TRUE(file.bytesAt(1500000, 100).isEmpty());
    ASSERT_TRUE(file.seek(1900000));
    EXPECT_TRUE(file.read(100000).isEmpty());
    EXPECT_EQ(file.bytesAt(0, 1000).toByteArray(), bytes.left(1000));
}
