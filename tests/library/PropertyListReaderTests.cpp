// The property-list reader: our own tolerant reader of the XML form, the
// libplist path and how the two hand over to each other.
#include "TestSupport.h"

#include "library/ManualPlistParser.h"
#include "library/PropertyListReader.h"
#include "library/SystemPlistParser.h"
#include "support/WMFormat.h"
#include "web/WMUtility.h"

#include <QDateTime>
#include <QFile>

#include <plist/plist.h>

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <ostream>

// Readable failure messages for trees.
void PrintTo(const QVariant& value, std::ostream* os)
{
    *os << WMFormatArg::describe(value).toStdString();
}
void PrintTo(const QVariantMap& value, std::ostream* os)
{
    PrintTo(QVariant(value), os);
}
void PrintTo(const QVariantList& value, std::ostream* os)
{
    PrintTo(QVariant(value), os);
}

namespace {

QVariant readManual(const QByteArray& data, QString* error = nullptr)
{
    return PropertyListReader::mutablePropertyListFromData(data, false, error);
}

QString logPath()
{
    return TestSupport::scratchFolder() + QStringLiteral("/log/Log-test.txt");
}

// Collects what the log gained while it lived.
class LogCapture
{
public:
    LogCapture() : mStart(QFile(logPath()).size()) {}
    QString text() const { return QString::fromUtf8(TestSupport::readFile(logPath()).mid(mStart)); }

private:
    qint64 mStart;
};

// A binary or XML property list written by libplist's own writer.
struct PlistDeleter
{
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

PlistPtr sampleTree()
{
    plist_t root = plist_new_dict();
    plist_dict_set_item(root, "Name", plist_new_string("Caf\xc3\xa9 & Co"));
    plist_dict_set_item(root, "Count", plist_new_uint(7));
    plist_dict_set_item(root, "Big", plist_new_uint(5000000000ULL));
    plist_dict_set_item(root, "Negative", plist_new_uint(static_cast<uint64_t>(-12)));
    plist_dict_set_item(root, "Rating", plist_new_real(4.5));
    plist_dict_set_item(root, "Blob", plist_new_data("\x01\x02\x03", 3));
    plist_dict_set_item(root, "Yes", plist_new_bool(1));
    plist_dict_set_item(root, "Added", plist_new_date(757382400, 0)); // 2025-01-01T00:00:00Z
    plist_t list = plist_new_array();
    plist_array_append_item(list, plist_new_string("a"));
    plist_array_append_item(list, plist_new_bool(0));
    plist_dict_set_item(root, "List", list);
    return PlistPtr(root);
}

QByteArray xmlOf(const PlistPtr& tree)
{
    char* out = nullptr;
    uint32_t length = 0;
    plist_to_xml(static_cast<plist_t>(tree.get()), &out, &length);
    QByteArray result(out, static_cast<qsizetype>(length));
    plist_to_xml_free(out);
    return result;
}

const QDateTime kNewYear2025(QDate(2025, 1, 1), QTime(0, 0), Qt::UTC);

} // namespace

TEST(PropertyListReader, TooShortBufferIsNotParsed)
{
    LogCapture log;
    QString error = QStringLiteral("untouched");
    EXPECT_FALSE(
        PropertyListReader::mutablePropertyListFromData(QByteArray("<dict"), true, &error).isValid());
    EXPECT_EQ(error, QStringLiteral("untouched"));
    // Small lists are read without a word in the log.
    EXPECT_FALSE(log.text().contains(QStringLiteral("[mutPListFrom]")));
}

TEST(PropertyListReader, BothPathsAgreeOnAWrittenFileExceptForRealsAndData)
{
    const QByteArray xml = xmlOf(sampleTree());
    QVariantMap system = PropertyListReader::mutablePropertyListFromData(xml, true).toMap();
    QVariantMap manual = readManual(xml).toMap();
    EXPECT_FALSE(manual.contains(QStringLiteral("Rating")));
    EXPECT_FALSE(manual.contains(QStringLiteral("Blob")));
    // Our own reader cuts integers to 32 bits on purpose.
    EXPECT_EQ(manual.value(QStringLiteral("Big")).toInt(), static_cast<int>(5000000000LL & 0xFFFFFFFF));
    for (const char* dropped : {"Rating", "Blob", "Big"}) {
        system.remove(QLatin1String(dropped));
        manual.remove(QLatin1String(dropped));
    }
    EXPECT_EQ(manual, system);
    EXPECT_EQ(manual.value(QStringLiteral("Added")).toDateTime(), kNewYear2025);
}

// Our own reader of the XML form: every row is read with it alone; the tree
// is compared by its description, the error as given.
TEST(PropertyListReader, OwnReaderOfTheXMLForm)
{
    const struct
    {
        const char* name;
        QByteArray xml;
        const char* tree;
        const char* error;
    } rows[] = {
        {"keys, strings, integers and booleans",
         "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">\n<dict>\n\t<key>A</key><string>x</string>\n"
         "\t<key>B</key><integer>7</integer>\n\t<key>T</key><true/>\n\t<key>F</key><false/>\n</dict>\n</"
         "plist>\n",
         "{A = x; B = 7; F = 0; T = 1;}", ""},
        {"reals, data and empty strings skipped",
         "<dict><key>r</key><real>1.5</real><key>d</key><data>AAEC</data><key>e</key><string></string>"
         "<key>k</key><string>kept</string></dict>",
         "{k = kept;}", ""},
        // The key is the last one read anywhere: after the inner dict closes,
        // "inner" is still current in the outer one.
        {"the last key read stays current",
         "<dict><key>A</key><string>first</string><integer>2</integer><key>B</key><dict><key>inner</key>"
         "<true/></dict><string>after</string><key></key><string>dropped</string></dict>",
         "{A = 2; B = {inner = 1;}; inner = after;}", ""},
        {"nested containers and arrays",
         "<string>before any container</string><array><string>a</string><dict><key>k</key><integer>-3"
         "</integer></dict><array></array><date>2025-01-01T00:00:00Z</date></array>",
         "(a, {k = -3;}, (), 2025-01-01T00:00:00Z)", ""},
        {"extra closing tags never pop the root",
         "<dict><key>a</key><dict></dict></dict></dict></array><key>b</key><string>y</string>",
         "{a = {}; b = y;}", ""},
        {"bad UTF-8 becomes numbered placeholders",
         "<array><string>bad \xff byte</string><string>caf\xc3\xa9</string><string>overlong \xc0\xaf</string>"
         "<string>surrogate \xed\xa0\x80</string><string>cut \xe2\x82</string></array>",
         "([NON-UTF8-1], caf\xc3\xa9, [NON-UTF8-2], [NON-UTF8-3], [NON-UTF8-4])", ""},
        {"a non-ASCII byte in a tag ends the parse",
         "<dict><key>a</key><string>x</string><k\xc3\xa9y>b</key><string>y</string></dict>", "{a = x;}",
         "invalid tag @ 36"},
        // A byte-order mark alone is no text once decoded.
        {"text that decodes to nothing ends the parse",
         "<dict><key>a</key><string>x</string><key>b</key><string>\xef\xbb\xbf</string><key>c</key>"
         "<string>z</string></dict>",
         "{a = x;}", "invalid value @ 56"},
        {"integers cut to 32 bits",
         "<array><integer>4294967297</integer><integer>2147483648</integer><integer>-2147483649</integer>"
         "<integer>  42abc</integer><integer>none</integer><integer>+9</integer>"
         "<integer>99999999999999999999999</integer></array>",
         "(1, -2147483648, 2147483647, 42, 0, 9, -159383553)", ""},
        {"dates in both forms, bad ones dropped",
         "<array><date>2024-02-29T13:45:07Z</date><date>2024-2-9T3:04:5Z</date>"
         "<date>2024-13-01T00:00:00Z</date><date>yesterday</date></array>",
         "(2024-02-29T13:45:07Z, 2024-02-09T03:04:05Z)", ""},
        {"character references replaced",
         "<dict><key>A &amp; B</key><string>Simon &amp; Garfunkel &lt;3&gt;</string><key>n</key>"
         "<integer>&#52;2</integer></dict>",
         "{A & B = Simon & Garfunkel <3>; n = 42;}", ""},
        // "<dict >" and "<dict/>" are no containers: b and c land in the root.
        {"tags matched by their exact text",
         "<dict><key>a</key><dict ><key>b</key><string>x</string></dict><key>c</key><dict/><string>y</string>"
         "</dict>",
         "{b = x; c = y;}", ""},
    };
    LogCapture log;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        QString error;
        const QVariant root = readManual(row.xml, &error);
        EXPECT_EQ(WMFormatArg::describe(root), QString::fromUtf8(row.tree));
        EXPECT_EQ(error, QString::fromUtf8(row.error));
    }
    EXPECT_TRUE(log.text().contains(QStringLiteral(" values, 4 UTF8 errors)")));
    for (const QVariant& v : readManual(rows[8].xml).toList())
        EXPECT_EQ(v.typeId(), QMetaType::Int);
    EXPECT_EQ(readManual(rows[9].xml).toList().value(0).toDateTime().timeSpec(), Qt::UTC);
    EXPECT_EQ(ManualPlistParser::leadingInt32(QStringLiteral("\u00a0-17x")), 0);
    EXPECT_EQ(ManualPlistParser::leadingInt32(QStringLiteral("\t-17x")), -17);
}

TEST(PropertyListReader, TruncatedFilesGiveThePartialTreeAndSaySo)
{
    const QByteArray full = xmlOf(sampleTree());
    const qsizetype complete = full.indexOf("</plist>") + 8;
    for (const bool systemFirst : {false, true}) {
        for (qsizetype cut = 6; cut < complete; ++cut) {
            QString error;
            const QVariant root =
                PropertyListReader::mutablePropertyListFromData(full.left(cut), systemFirst, &error);
            if (root.isValid()) {
                EXPECT_EQ(root.typeId(), QMetaType::QVariantMap) << cut;
            }
            EXPECT_TRUE(error.contains(QStringLiteral("truncated @ ")) ||
                        error.startsWith(QStringLiteral("invalid")))
                << cut << " system first " << systemFirst << ": " << error.toStdString();
        }
    }
    // What was read stays; a text cut off by the end is no value.
    const QByteArray cut = QByteArray("<dict><key>outer</key><dict><key>a</key><string>x</string>"
                                      "<key>list</key><array><integer>1</integer><integer>2");
    QString error;
    const QVariantMap map = readManual(cut, &error).toMap();
    EXPECT_EQ(error, QStringLiteral("truncated @ %1").arg(cut.size()));
    EXPECT_EQ(map.value(QStringLiteral("outer")).toMap().value(QStringLiteral("a")).toString(),
              QStringLiteral("x"));
    EXPECT_EQ(map.value(QStringLiteral("outer")).toMap().value(QStringLiteral("list")).toList(),
              (QVariantList{1}));
}

TEST(PropertyListReader, FailureOfBothParsersNamesBoth)
{
    const QByteArray damaged = QByteArray("<dict><key>a</key><string>x</string><k\xc3\xa9y>");
    QString platformError;
    EXPECT_FALSE(SystemPlistParser::parse(damaged, &platformError).isValid());
    ASSERT_FALSE(platformError.isEmpty());

    LogCapture log;
    QString error;
    const QVariant root = PropertyListReader::mutablePropertyListFromData(damaged, true, &error);
    EXPECT_EQ(root.toMap().value(QStringLiteral("a")).toString(), QStringLiteral("x"));
    const QString expected = platformError + QStringLiteral(" (manual: invalid tag @ 36)");
    EXPECT_EQ(error, expected);
    EXPECT_TRUE(log.text().contains(QStringLiteral("mutPlistFrom failure \"") + expected + QLatin1Char('"')));

    // An error brought in by the caller stands for the platform's.
    error = QStringLiteral("earlier");
    readManual(damaged, &error);
    EXPECT_EQ(error, QStringLiteral("earlier (manual: invalid tag @ 36)"));
    error.clear();
    readManual(damaged, &error);
    EXPECT_EQ(error, QStringLiteral("invalid tag @ 36"));
}

TEST(PropertyListReader, DeepNestingIsBoundedOnBothPaths)
{
    QByteArray deep;
    for (int i = 0; i < 100000; ++i)
        deep += "<array>";
    QString error;
    const QVariant root = readManual(deep, &error);
    EXPECT_TRUE(error.startsWith(QStringLiteral("nesting too deep @ ")));
    EXPECT_EQ(root.typeId(), QMetaType::QVariantList);

    QByteArray closed = deep.left(600 * 7);
    for (int i = 0; i < 600; ++i)
        closed += "</array>";
    error.clear();
    PropertyListReader::mutablePropertyListFromData(closed, true, &error);
    EXPECT_TRUE(error.contains(QStringLiteral("nested more than 512")));
    EXPECT_TRUE(error.contains(QStringLiteral("(manual: nesting too deep @ 3584)")));
}

TEST(PropertyListReader, PlatformRootMustBeAContainer)
{
    QString error;
    const QVariant root = PropertyListReader::mutablePropertyListFromData(
        QByteArray("<plist version=\"1.0\"><string>alone</string></plist>"), true, &error);
    EXPECT_FALSE(root.isValid());
    EXPECT_TRUE(error.isEmpty()); // our own reader read it without error, finding no container
}
