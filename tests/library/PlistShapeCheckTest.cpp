// The look at a property list's bytes before libplist is given them.
#include "BinaryPlistBuilder.h"

#include "library/PlistShapeCheck.h"

#include <plist/plist.h>

#include <gtest/gtest.h>

#include <functional>

namespace {

using Verdict = PlistShapeCheck::Verdict;

const char* nameOf(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Fine:
        return "Fine";
    case Verdict::TooDeep:
        return "TooDeep";
    case Verdict::Truncated:
        return "Truncated";
    case Verdict::Damaged:
        return "Damaged";
    case Verdict::TooLarge:
        return "TooLarge";
    case Verdict::Unusual:
        return "Unusual";
    }
    return "?";
}

QByteArray repeated(const char* part, int times)
{
    return QByteArray(part).repeated(times);
}

} // namespace

TEST(PlistShapeCheck, XmlIsHandedOverOnlyWhenCompleteAndShallow)
{
    struct Row
    {
        const char* name;
        QByteArray data;
        Verdict verdict;
        int depth;
    };
    const QByteArray prolog =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD "
        "PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";
    const Row rows[] = {
        {"export",
         prolog + "<plist version=\"1.0\"><dict><key>a</key><array><string>x &lt; y</string><dict/>"
                  "</array></dict></plist>\n",
         Verdict::Fine, 2},
        {"at the limit", "<plist>" + repeated("<array>", 3) + repeated("</array>", 3) + "</plist>",
         Verdict::Fine, 3},
        {"a level too deep", "<plist>" + repeated("<array>", 4) + repeated("</array>", 4) + "</plist>",
         Verdict::TooDeep, 4},
        {"deep unknown elements", "<plist>" + repeated("<x>", 20), Verdict::TooDeep, 0},
        {"cut inside a tag", "<plist><dict><ke", Verdict::Truncated, 1},
        {"cut inside a text", "<plist><dict><key>a</key><string>ab", Verdict::Truncated, 1},
        {"no </plist>", "<plist><dict></dict>", Verdict::Truncated, 1},
        {"cut inside the declaration", "<?xml version=", Verdict::Truncated, 0},
        {"cut inside a comment", "<plist><!-- note", Verdict::Truncated, 0},
        {"closing another element", "<plist><array></dict></plist>", Verdict::Damaged, 1},
        {"closing nothing", "</plist>", Verdict::Damaged, 0},
        {"no element", "only text", Verdict::Damaged, 0},
        {"markup in a comment", "<plist><!-- </array> --><array></array></plist>", Verdict::Unusual, 0},
        {"CDATA", "<plist><string><![CDATA[x]]></string></plist>", Verdict::Unusual, 0},
        {"internal DTD", "<!DOCTYPE plist [<!ENTITY a \"b\">]><plist/>", Verdict::Unusual, 0},
        {"< in an attribute", "<plist version=\"<\"><dict/></plist>", Verdict::Unusual, 0},
        {"> in an attribute", "<plist version=\">\"><dict></dict></plist>", Verdict::Fine, 1},
        {"plain comment", "<plist><!-- note --><dict></dict></plist>", Verdict::Fine, 1},
    };
    for (const Row& row : rows) {
        const PlistShapeCheck::Result result = PlistShapeCheck::check(row.data, 3);
        EXPECT_STREQ(nameOf(result.verdict), nameOf(row.verdict)) << row.name;
        EXPECT_EQ(result.depth, row.depth) << row.name;
    }
}

TEST(PlistShapeCheck, BinaryIsHandedOverOnlyWhenShallowSoundAndNotUnfoldingWithoutBound)
{
    // Written by libplist itself: a dictionary holding an array of a text.
    plist_t tree = plist_new_dict();
    plist_t list = plist_new_array();
    plist_array_append_item(list, plist_new_string("x"));
    plist_dict_set_item(tree, "a", list);
    char* written = nullptr;
    uint32_t writtenLength = 0;
    plist_to_bin(tree, &written, &writtenLength);
    const QByteArray libplistFile(written, static_cast<qsizetype>(writtenLength));
    plist_to_bin_free(written);
    plist_free(tree);

    using B = BinaryPlistBuilder;
    struct Row
    {
        const char* name;
        std::function<QByteArray(B&)> make;
        int maxDepth;
        Verdict verdict;
    };
    const Row rows[] = {
        {"written by libplist", [&](B&) { return libplistFile; }, 3, Verdict::Fine},
        {"at the limit", [](B& b) { return b.build(b.nestedArrays(3)); }, 3, Verdict::Fine},
        {"a level too deep", [](B& b) { return b.build(b.nestedArrays(4)); }, 3, Verdict::TooDeep},
        {"a shared array too deep",
         [](B& b) {
             const int s = b.nestedArrays(3);
             return b.build(b.array({s, s}));
         },
         3, Verdict::TooDeep},
        {"a shared array",
         [](B& b) {
             const int s = b.nestedArrays(2);
             return b.build(b.array({s, s}));
         },
         3, Verdict::Fine},
        {"each array holding the next twice",
         [](B& b) {
             int inner = b.array({});
             for (int i = 0; i < 40; ++i)
                 inner = b.array({inner, inner});
             return b.build(inner);
         },
         512, Verdict::TooLarge},
        {"one text at every reference",
         [](B& b) { return b.build(b.array(QList<int>(20000, b.string(QByteArray(1000, 'x'))))); }, 3,
         Verdict::TooLarge},
        {"an array holding itself", [](B& b) { return b.build(b.array({0})); }, 3, Verdict::Damaged},
        {"a count past the end", [](B& b) { return b.build(b.arrayClaiming(0x7FFFFFFF)); }, 3,
         Verdict::Damaged},
        {"a reference to no object", [](B& b) { return b.build(b.array({7})); }, 3, Verdict::Damaged},
        {"a cut trailer", [](B& b) { return b.build(b.array({})).chopped(1); }, 3, Verdict::Damaged},
    };
    for (const Row& row : rows) {
        B builder;
        const PlistShapeCheck::Result result = PlistShapeCheck::check(row.make(builder), row.maxDepth);
        EXPECT_STREQ(nameOf(result.verdict), nameOf(row.verdict)) << row.name;
    }
}
