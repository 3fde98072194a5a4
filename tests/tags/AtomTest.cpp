#include "Mp4TestFiles.h"
#include "TestSupport.h"

#include "support/WMLog.h"
#include "tags/Atom.h"
#include "tags/AtomFileDevice.h"

#include <QBuffer>
#include <QtEndian>

#include <gtest/gtest.h>

using F = Mp4TestFiles;

namespace {

const QString kNam = QStringLiteral("\u00A9nam");

using Tree = AtomTree;

// Reading the bytes as a tree is refused with an AtomError.
void expectRefused(const QByteArray& bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    EXPECT_THROW(Atom::atomContainerFromFile(&buffer), AtomError);
}

QByteArray logText()
{
    return TestSupport::readFile(WMLogLocation());
}

F::Options withItems()
{
    F::Options o;
    o.items = {F::textItem(kNam, QStringLiteral("Title")), F::trackItem(3, 12)};
    o.freeInMeta = 200;
    return o;
}

} // namespace

TEST(Atom, QuickTimeMetaWithoutVersionBytesRoundTrips)
{
    const QByteArray hdlr = F::fullAtom(QStringLiteral("hdlr"), 0, QByteArray(20, 'h'));
    const QByteArray ilst = F::atom(QStringLiteral("ilst"), F::textItem(kNam, QStringLiteral("QT")));
    const QByteArray file = F::atom(QStringLiteral("moov"), F::atom(QStringLiteral("meta"), hdlr + ilst));
    Tree t(file);
    Atom* meta = t.root->childAtAtomPath(QStringLiteral("FILE:moov:meta"));
    ASSERT_TRUE(meta);
    EXPECT_FALSE(meta->hasMetaVersion());
    Atom* data = meta->childAtAtomPath(QStringLiteral("meta:ilst:\u00A9nam:data"));
    ASSERT_TRUE(data);
    EXPECT_EQ(data->stringValue(), QStringLiteral("QT"));
    EXPECT_EQ(t.image(), file);
}

TEST(Atom, OffsetsWithoutATreeMatchTheTree)
{
    F::Options o = withItems();
    o.tracks = 2;
    Tree t(F::m4a(o));
    const QString path = QStringLiteral("moov:trak:mdia:minf:stbl:stco");
    for (const QString& index : {QStringLiteral("1:1:1:1:1:1"), QStringLiteral("1:2:1:1:1:1")}) {
        Atom* stco =
            t.root->childAtAtomPath(QStringLiteral("FILE:") + path, false, QStringLiteral("1:") + index);
        ASSERT_TRUE(stco);
        EXPECT_EQ(Atom::offsetToAtomIn(t.data, path, index), stco->originalOffset());
        EXPECT_EQ(Atom::offsetToAtomIn(&t.buffer, path, index), stco->originalOffset());
        EXPECT_EQ(Atom::atomDataIn(&t.buffer, path, index), stco->data());
    }
    quint32 name = 0;
    EXPECT_EQ(Atom::sizeOfAtomIn(t.data, 0, &name), 8u + 20u);
    EXPECT_EQ(Atom::nameOf(name), QStringLiteral("ftyp"));
}

TEST(Atom, SizeZeroRunsToTheEndOfTheFile)
{
    const QByteArray bytes =
        F::atom(QStringLiteral("ftyp"), "M4A ") + F::be32(0) + "mdat" + QByteArray(100, 'm');
    Tree t(bytes);
    ASSERT_EQ(t.root->contents().size(), 2u);
    EXPECT_EQ(t.root->contents()[1]->size(), 100u);
    EXPECT_EQ(Atom::sizeOfAtomIn(bytes, 12), 108u);
}

TEST(Atom, BadSizesRaiseAndAreLogged)
{
    for (quint32 size : {2u, 5u, 7u}) {
        const QByteArray bytes =
            F::atom(QStringLiteral("ftyp"), "M4A ") + F::be32(size) + "junk" + QByteArray(16, 'x');
        expectRefused(bytes);
        const QByteArray line = "invalid size " + QByteArray::number(size) + " for atom 'junk' in file";
        EXPECT_TRUE(logText().contains(line));
        EXPECT_THROW(Atom::sizeOfAtomIn(bytes, 12), AtomError);
    }
    try {
        Atom::sizeOfAtomIn(QByteArray("\0\0\0\5abcd", 8), 0);
        FAIL();
    } catch (const std::range_error& e) {
        EXPECT_STREQ(e.what(), "bad size atom");
    }
    // A header that does not fit in the file.
    expectRefused(F::atom(QStringLiteral("ftyp"), "M4A ") + QByteArray(3, '\0'));
    EXPECT_TRUE(logText().contains("sizeOfAtomIn: 12 + 8 > 15"));
}

TEST(Atom, ContainersMayNotOverrunTheirParentButLeavesAreCut)
{
    // udta claims more than moov holds.
    const QByteArray inner = F::be32(500) + "udta" + QByteArray(8, '\0');
    expectRefused(F::atom(QStringLiteral("moov"), inner) +
                  F::atom(QStringLiteral("mdat"), QByteArray(600, 'x')));

    // A truncated mdat is shortened to what exists, and logged.
    const QByteArray truncated =
        F::atom(QStringLiteral("ftyp"), "M4A ") + F::be32(5000) + "mdat" + QByteArray(100, 'm');
    Tree t(truncated);
    ASSERT_EQ(t.root->contents().size(), 2u);
    EXPECT_EQ(t.root->contents()[1]->size(), 100u);
    EXPECT_FALSE(t.root->contents()[1]->isUnchangedFromFile());
    EXPECT_TRUE(logText().contains("mdat (file) will trunc setFile:withRange: 20 + 4992 (5012) > 120"));

    // A 64-bit size far beyond the file: cut as well, no allocation of that size.
    const QByteArray huge = F::be32(1) + "mdat" + F::be64(0x7FFFFFFFFFFFull) + QByteArray(32, 'm');
    Tree h(huge);
    EXPECT_EQ(h.root->contents()[0]->size(), 32u);
    EXPECT_EQ(h.root->contents()[0]->data(), QByteArray(32, 'm'));
}

TEST(Atom, LongSizesAreReadAndKept)
{
    const QByteArray body(40, 'b');
    const QByteArray longAtom = F::be32(1) + "mdat" + F::be64(16 + 40) + body;
    const QByteArray bytes = F::atom(QStringLiteral("ftyp"), "M4A ") + longAtom;
    Tree t(bytes);
    Atom* mdat = t.root->childAtAtomPath(QStringLiteral("FILE:mdat"));
    ASSERT_TRUE(mdat);
    EXPECT_EQ(mdat->data(), body);
    EXPECT_EQ(mdat->flattenedSize(), 56u);
    EXPECT_EQ(t.image(), bytes);
    EXPECT_EQ(Atom::sizeOfAtomIn(bytes, 12), 56u);

    // Headers of atoms beyond 4 GiB take the long form.
    EXPECT_EQ(Atom::headerFor(Atom::codeOf(u"mdat"), 0x100000000ull),
              F::be32(1) + "mdat" + F::be64(0x100000000ull + 16));
    EXPECT_EQ(Atom::headerFor(Atom::codeOf(u"mdat"), 0xFFFFFFF7ull), F::be32(0xFFFFFFFF) + "mdat");
    EXPECT_EQ(Atom::headerFor(Atom::codeOf(u"mdat"), 0xFFFFFFF8ull).size(), 16);
}

TEST(Atom, HostileNestingAndCountsAreBounded)
{
    QByteArray deep = F::atom(QStringLiteral("free"), {});
    for (int i = 0; i < 200; ++i)
        deep = F::atom(i % 2 ? QStringLiteral("moov") : QStringLiteral("trak"), deep);
    expectRefused(deep);

    QByteArray many;
    for (int i = 0; i <= Atom::kMaxAtoms; ++i)
        many += F::atom(QStringLiteral("free"), {});
    expectRefused(many);

    // Unprintable names are just names.
    Tree odd(F::atom(QStringLiteral("\x01\x02\x7f\xff"), "z"));
    EXPECT_EQ(odd.root->contents()[0]->name(), 0x01027FFFu);
    EXPECT_FALSE(odd.root->description().isEmpty());

    // A few stray bytes at the end of a container are dropped, not fatal.
    Tree pad(F::atom(QStringLiteral("moov"), F::atom(QStringLiteral("mvhd"), "x") + QByteArray(4, '\0')));
    EXPECT_EQ(pad.root->contents()[0]->contents().size(), 1u);
}

TEST(Atom, EditingWithoutAutoSizingChangesOnlyTheAtom)
{
    Tree t(F::m4a(withItems()));
    Atom* free = t.root->childAtAtomPath(QStringLiteral("FILE:moov:udta:meta:free"));
    Atom* title = t.root->childAtAtomPath(QStringLiteral("FILE:moov:udta:meta:ilst:\u00A9nam:data"));
    ASSERT_TRUE(free && title);
    EXPECT_EQ(title->stringValue(), QStringLiteral("Title"));
    title->setStringValue(QStringLiteral("A much longer title"));
    EXPECT_EQ(free->size(), 200u);
    EXPECT_EQ(title->data().left(8), QByteArray("\0\0\0\1\0\0\0\0", 8));
    EXPECT_EQ(title->data().mid(8), QByteArray("A much longer title"));
    title->setData(QByteArray(8, '\0'));
    EXPECT_TRUE(title->stringValue().isNull());

    // setSize cuts or pads leaves; containers refuse.
    EXPECT_TRUE(free->setSize(10));
    EXPECT_EQ(free->data(), QByteArray(10, '\0'));
    EXPECT_TRUE(free->setSize(30));
    EXPECT_EQ(free->size(), 30u);
    EXPECT_FALSE(title->parent()->setSize(4));
}
