// The look at a property list's bytes before libplist is given them.
#include "BinaryPlistBuilder.h"

#include "library/PlistShapeCheck.h"

#include <plist/plist.h>

#include <gtest/gtest.h>

#include <functional>

namespace {

using Verdict = PlistShapeCheck::Verdict;

// The verdict's name, for failure messages.
const char* nameOf(Verdict verdict)
{
    static const char* const names[] = {"Fine", "TooDeep", "Truncated", "Damaged", "TooLarge", "Unusual"};
    return names[static_cast<int>(verdict)];
}

} // namespace

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
