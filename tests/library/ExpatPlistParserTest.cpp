// The reader of the XML form that takes libplist's place: on what it reads it
// must give libplist's very tree, agree with our own tolerant reader where
// both read a form alike, and leave everything else to libplist.
#include "PlistXmlWriter.h"

#include "library/ExpatPlistParser.h"
#include "library/ManualPlistParser.h"
#include "library/SystemPlistParser.h"
#include "support/WMFormat.h"

#include <gtest/gtest.h>

namespace {

QVariant libplistTree(const QByteArray& xml, QString* error = nullptr)
{
    QString ignored;
    return SystemPlistParser::parseWithLibplist(xml, error ? error : &ignored);
}

std::string described(const QVariant& tree)
{
    return WMFormatArg::describe(tree).toStdString();
}

// Our reader takes the document and gives libplist's very tree (a fatal
// failure otherwise).
void expectLibplistsTree(const QByteArray& xml, const char* name)
{
    const ExpatPlistParser::Result read = ExpatPlistParser::parse(xml, SystemPlistParser::kMaxDepth);
    ASSERT_TRUE(read.declined.isEmpty()) << name << ": " << read.declined.toStdString();
    const QVariant expected = libplistTree(xml);
    ASSERT_TRUE(PlistXmlWriter::sameTree(read.root, expected))
        << name << "\nexpat: " << described(read.root) << "\nlibplist: " << described(expected);
}

QByteArray inPlist(const QByteArray& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + body + "\n</plist>\n";
}

} // namespace

TEST(ExpatPlistParser, GivesLibplistsTreeForEveryGeneratedList)
{
    std::mt19937 random(11);
    for (int i = 0; i < 2000; ++i) {
        const QByteArray xml = PlistXmlWriter::document(random, PlistXmlWriter::Forms::Any);
        ASSERT_NO_FATAL_FAILURE(expectLibplistsTree(xml, xml.constData()));
    }
}

TEST(ExpatPlistParser, AgreesWithTheManualReaderOnPlainForms)
{
    const struct
    {
        const char* name;
        QByteArray body;
    } rows[] = {
        {"types", "<dict><key>s</key><string>x</string><key>i</key><integer>-42</integer>"
                  "<key>big</key><integer>5000000000</integer><key>t</key><true/><key>f</key><false/>"
                  "<key>r</key><real>1.5</real><key>d</key><data>AAEC</data></dict>"},
        {"references",
         "<dict><key>A &amp; B</key><string>&lt;&gt;&quot;&apos;&#233;&#x263a;</string></dict>"},
        {"blanks", "<dict>\r\n\t<key> k </key>\r\n\t<string>\ta\r\nb </string>\n</dict>"},
        {"empty containers", "<array><dict></dict><array></array><array><dict></dict></array></array>"},
        {"dates", "<array><date>2024-02-29T13:45:07Z</date><date>1950-01-01T00:00:00Z</date>"
                  "<date>2060-12-31T23:59:59Z</date></array>"},
        {"data", "<array><data>\n\tAAECAwQFBgcICQoLDA0ODxAR\n\tEhM=\n\t</data><data>AA==</data></array>"},
    };
    for (const auto& row : rows) {
        const QByteArray xml = inPlist(row.body);
        expectLibplistsTree(xml, row.name);
        const ExpatPlistParser::Result read = ExpatPlistParser::parse(xml, SystemPlistParser::kMaxDepth);
        const QVariant manual = ManualPlistParser::parse(xml).root;
        EXPECT_TRUE(PlistXmlWriter::sameTree(PlistXmlWriter::asManualReaderSees(read.root), manual))
            << row.name << "\nexpat: " << described(read.root) << "\nmanual: " << described(manual);
    }
    std::mt19937 random(23);
    for (int i = 0; i < 200; ++i) {
        const QByteArray xml = PlistXmlWriter::document(random, PlistXmlWriter::Forms::Plain);
        const QVariant read = ExpatPlistParser::parse(xml, SystemPlistParser::kMaxDepth).root;
        const QVariant manual = ManualPlistParser::parse(xml).root;
        ASSERT_TRUE(PlistXmlWriter::sameTree(PlistXmlWriter::asManualReaderSees(read), manual))
            << xml.constData() << "\nexpat: " << described(read) << "\nmanual: " << described(manual);
    }
}

TEST(ExpatPlistParser, ReadsLibplistsOwnFormsAsLibplistDoes)
{
    // Forms where libplist's reading is its own: octal and hexadecimal
    // integers, blanks about a sign, dates filled in or moved on, data with
    // stray characters, keys standing for values, values after an empty key,
    // comments and instructions between elements, booleans holding text.
    const char* const bodies[] = {
        "<array><integer>010</integer><integer>0x1f</integer><integer> - 5</integer><integer>+7</integer>"
        "<integer>99999999999999999999</integer><integer>&#52;2</integer><integer>4<!-- c -->2</integer>"
        "<integer></integer><integer/><integer>12abc</integer></array>",
        "<array><real>inf</real><real>nan</real><real>1,5</real><real/><real></real></array>",
        "<array><date>2024-2-9T3:04:5Z</date><date>2025-02-30T00:00:00Z</date><date>yesterday</date>"
        "<date></date><date/><date>1900-01-01T00:00:00Z</date><date>2025-01-01T00:00:60Z</date></array>",
        "<array><data>!!AAEC</data><data>AAE</data><data>AA==EC</data><data>AB==</data><data></data>"
        "<data/></array>",
        "<array><key>in an array</key><string/><key/><true>ignored</true></array>",
        "<array><!-- c --><?pi x?>\n<true>x<!-- c --></true><false> </false><true>&amp;</true></array>",
        "<dict><key>a</key><key>b</key><key></key><string>x</string><key>c</key></dict>",
        "<dict><key>a</key><string>1</string><key>a</key><dict/><key>z</key><array/></dict>",
    };
    for (const char* body : bodies)
        expectLibplistsTree(inPlist(body), body);
}

TEST(ExpatPlistParser, DamagedOrUnusualDataAreLeftToLibplist)
{
    const struct
    {
        const char* name;
        QByteArray xml;
    } rows[] = {
        {"not UTF-8", inPlist("<array><string>caf\xe9</string></array>")},
        {"declared Latin-1", "<?xml version=\"1.0\" "
                             "encoding=\"ISO-8859-1\"?><plist><array><string>\xe9</string></array></plist>"},
        {"byte-order mark", "\xef\xbb\xbf" + inPlist("<array/>")},
        {"entity of the document type",
         "<!DOCTYPE plist SYSTEM \"p.dtd\"><plist><array><string>&nbsp;</string></array></plist>"},
        {"unknown element", inPlist("<array><number>1</number></array>")},
        {"markup inside a value", inPlist("<array><string>a<b/>c</string></array>")},
        {"instruction inside a value", inPlist("<array><string>a<?pi x?>c</string></array>")},
        {"text in a container", inPlist("<dict>x<key>a</key><true/></dict>")},
        {"text before an empty root", "<plist>ww<array/></plist>"},
        {"reference between elements", inPlist("<array>&#32;<true/></array>")},
        {"CDATA between elements", inPlist("<array><![CDATA[ ]]><true/></array>")},
        {"instruction inside a boolean", inPlist("<array><true><?pi?></true></array>")},
        {"value without a key", inPlist("<dict><string>x</string></dict>")},
        {"key after a key in a dictionary", inPlist("<dict><key>a</key><key>b</key><true/></dict>")},
        {"root not a container", inPlist("<string>alone</string>")},
        {"empty plist", "<plist></plist>"},
        {"empty root then values", "<plist><array/><string>x</string></plist>"},
        {"nested plist", inPlist("<dict><key>a</key><plist><true/></plist></dict>")},
        {"quoted >", inPlist("<array><string a=\">\">x</string></array>")},
        {"mismatched tags", inPlist("<array><string>x</array></string>")},
        {"unclosed", "<plist><dict><key>a</key><string>x</string>"},
        {"real that libplist refuses", inPlist("<array><real>&nbsp;</real></array>")},
    };
    for (const auto& row : rows) {
        const ExpatPlistParser::Result read = ExpatPlistParser::parse(row.xml, SystemPlistParser::kMaxDepth);
        EXPECT_FALSE(read.root.isValid()) << row.name;
        EXPECT_FALSE(read.declined.isEmpty()) << row.name;
        // What the platform path answers is then libplist's answer.
        QString error;
        QString libplistError;
        const QVariant tree = SystemPlistParser::parse(row.xml, &error);
        EXPECT_TRUE(PlistXmlWriter::sameTree(tree, libplistTree(row.xml, &libplistError))) << row.name;
        EXPECT_EQ(error, libplistError) << row.name;
    }
}
