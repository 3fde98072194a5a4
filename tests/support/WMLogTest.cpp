#include "TestSupport.h"

#include "support/WMLog.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <thread>
#include <tuple>
#include <vector>
#include <zip.h>

namespace {

const QRegularExpression kEntry(QStringLiteral(R"(^\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] (.*)$)"),
                                QRegularExpression::DotMatchesEverythingOption);

class WMLogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mFolder = TestSupport::testFolder(QStringLiteral("wmlog"));
        mPath = mFolder + QStringLiteral("/Quillbeat/Log-1.0-(7).txt");
        WMLogSetLocation(mPath);
    }
    void TearDown() override
    {
        // Back to the suite's own log.
        WMLogSetLocation(TestSupport::scratchFolder() + QStringLiteral("/log/Log-test.txt"));
    }
    QString contents() const { return QString::fromUtf8(TestSupport::readFile(mPath)); }

    QString mFolder;
    QString mPath;
};

// The name and the bytes of the only file in a zip archive.
std::pair<QString, QByteArray> onlyFileIn(const QString& archive)
{
    int error = 0;
    zip_t* zip = zip_open(QFile::encodeName(archive).constData(), ZIP_RDONLY, &error);
    zip_stat_t st;
    if (!zip || zip_get_num_entries(zip, 0) != 1 || zip_stat_index(zip, 0, 0, &st) != 0) {
        ADD_FAILURE() << archive.toStdString() << " is no archive of one file";
        return {};
    }
    QByteArray bytes(static_cast<qsizetype>(st.size), '\0');
    zip_file_t* f = zip_fopen_index(zip, 0, 0);
    const bool read = f && zip_fread(f, bytes.data(), st.size) == static_cast<zip_int64_t>(st.size);
    EXPECT_TRUE(read);
    if (f)
        zip_fclose(f);
    const QString name = QString::fromUtf8(zip_get_name(zip, 0, 0));
    zip_close(zip);
    return {name, bytes};
}

} // namespace

TEST_F(WMLogTest, EntriesFromTwoThreadsNeverInterleave)
{
    constexpr int kPerThread = 400;
    const QString longText(300, QLatin1Char('x'));
    auto writer = [&](int thread) {
        for (int i = 0; i < kPerThread; ++i)
            WMLog("thread %d entry %d %@", thread, i, longText);
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back(writer, t);
    for (auto& t : threads)
        t.join();

    const QStringList lines = contents().split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), 2 * kPerThread);
    int next[2] = {0, 0};
    static const QRegularExpression body(QStringLiteral(R"(^thread (\d) entry (\d+) x{300}$)"));
    for (const QString& line : lines) {
        const auto entry = kEntry.match(line);
        ASSERT_TRUE(entry.hasMatch()) << line.toStdString();
        const auto parts = body.match(entry.captured(1));
        ASSERT_TRUE(parts.hasMatch()) << line.toStdString();
        const int thread = parts.captured(1).toInt();
        EXPECT_EQ(parts.captured(2).toInt(), next[thread]++) << "entries of one thread stay in order";
    }
}

TEST_F(WMLogTest, FlushFinalPacksTheLogIntoAZipArchive)
{
    WMLog("before the pack");
    WMLogFlushFinal(true);
    const QString archive = mFolder + QStringLiteral("/Quillbeat/Log-1.0-(7).zip");
    ASSERT_TRUE(QFileInfo::exists(archive));
    EXPECT_FALSE(QFileInfo::exists(mPath)) << "the text file is removed once packed";

    const auto [name, bytes] = onlyFileIn(archive);
    EXPECT_EQ(name, QStringLiteral("Log-1.0-(7).txt"));
    const QStringList lines = QString::fromUtf8(bytes).split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(kEntry.match(lines[0]).captured(1), QStringLiteral("before the pack"));
    EXPECT_EQ(kEntry.match(lines[1]).captured(1), QStringLiteral("WMLogFlushFinal 1"));

    // A second pack in the same run packs the one-line file its own entry made.
    WMLogFlushFinal(true);
    EXPECT_LT(onlyFileIn(archive).second.size(), 50);

    // Without packing the file stays and the entry says 0.
    WMLog("after");
    WMLogFlushFinal(false);
    EXPECT_TRUE(contents().endsWith(QStringLiteral("WMLogFlushFinal 0")));
}

TEST_F(WMLogTest, UnwritableFolderFallsBackToStandardError)
{
    const QString blocker = mFolder + QStringLiteral("/blocker");
    ASSERT_TRUE(TestSupport::writeFile(blocker, "a file where a folder should be"));
    WMLogSetLocation(blocker + QStringLiteral("/Log.txt"));
    ::testing::internal::CaptureStderr();
    WMLog("to the console %d", 5);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("WM> to the console 5"), std::string::npos);
}

TEST(WMLogLocation, TheFolderIsRememberedAndAnUnchangedOneLeavesTheSettingsFileAlone)
{
    // A command that writes nothing must not rewrite (and flush) the
    // settings each time it opens its log.
    const QString path = WMLogLocation();
    EXPECT_EQ(QSettings().value(QStringLiteral("logDirectory")).toString(), QFileInfo(path).absolutePath());
    WMLogSetLocation(path);
    QSettings().sync();
    // A rewrite replaces the file (another inode) and moves its times.
    const QByteArray settingsFile = QFile::encodeName(QSettings().fileName());
    const auto stamp = [&settingsFile] {
        struct stat st = {};
        ::stat(settingsFile.constData(), &st);
        return std::make_tuple(st.st_ino, st.st_mtim.tv_sec, st.st_mtim.tv_nsec, st.st_ctim.tv_nsec);
    };
    const auto before = stamp();
    ASSERT_NE(std::get<0>(before), 0u);
    WMLogSetLocation(path);
    WMLog("written to the log, not to the settings");
    EXPECT_EQ(stamp(), before);
}
