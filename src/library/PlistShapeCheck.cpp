#include "PlistShapeCheck.h"

#include "support/WMFormat.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>
#include <vector>

namespace {

using Verdict = PlistShapeCheck::Verdict;
using Result = PlistShapeCheck::Result;

// ---- the XML form

// Element names may go this much deeper than the container limit (the plist
// element, a leaf) before the check gives up on them.
constexpr size_t kExtraElementDepth = 8;

const char* findByte(const char* from, const char* end, char c)
{
    return from < end ? static_cast<const char*>(std::memchr(from, c, static_cast<size_t>(end - from)))
                      : nullptr;
}

bool isNameEnd(char c)
{
    return c == '>' || c == '/' || c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isContainerName(std::string_view name)
{
    return name == "dict" || name == "array";
}

// The markup that is passed over whole: the XML declaration and other
// processing instructions, comments and the document type. Their bodies may
// hold no markup of their own (nor the document type an internal subset):
// libplist is then not trusted to skip them as this check does.
struct Skipped
{
    std::string_view opener;
    std::string_view closer;
    bool refusesBracket;
};

constexpr Skipped kSkipped[] = {{"<?", "?>", false}, {"<!--", "-->", false}, {"<!DOCTYPE", ">", true}};

} // namespace

Result PlistShapeCheck::checkXml(QByteArrayView data, int maxDepth)
{
    const char* const begin = data.data();
    const char* const end = begin + data.size();
    Result result;
    const auto stop = [&](Verdict verdict, const char* at) {
        result.verdict = verdict;
        result.position = at - begin;
        return result;
    };

    // The names of the open elements, pointing into the data.
    std::vector<std::string_view> open;
    open.reserve(64);
    const size_t maxOpen = static_cast<size_t>(std::max(maxDepth, 0)) + kExtraElementDepth;
    int depth = 0;
    bool sawElement = false;
    const char* position = begin;
    while (const char* lt = findByte(position, end, '<')) {
        const std::string_view rest(lt, static_cast<size_t>(end - lt));
        if (rest.size() < 2)
            return stop(Verdict::Truncated, lt);

        if (lt[1] == '?' || lt[1] == '!') {
            const Skipped* skipped = nullptr;
            for (const Skipped& candidate : kSkipped) {
                if (rest.starts_with(candidate.opener)) {
                    skipped = &candidate;
                    break;
                }
                if (candidate.opener.starts_with(rest))
                    return stop(Verdict::Truncated, lt);
            }
            if (!skipped)
                return stop(Verdict::Unusual, lt); // CDATA, a lower-case doctype, ...
            const std::string_view body = rest.substr(skipped->opener.size());
            const size_t close = body.find(skipped->closer);
            if (close == std::string_view::npos)
                return stop(Verdict::Truncated, lt);
            const std::string_view inside = body.substr(0, close);
            if (inside.find('<') != std::string_view::npos ||
                (skipped->refusesBracket && inside.find('[') != std::string_view::npos))
                return stop(Verdict::Unusual, lt);
            position = body.data() + close + skipped->closer.size();
            continue;
        }

        // A tag: its end is the first ">" outside quotes, and no "<" may come
        // before it (where readers would disagree on what it is).
        const char* gt = nullptr;
        char quote = 0;
        for (const char* p = lt + 1; p < end; ++p) {
            const char c = *p;
            if (quote) {
                if (c == quote)
                    quote = 0;
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '>') {
                gt = p;
                break;
            }
            if (c == '<')
                return stop(Verdict::Unusual, lt);
        }
        if (!gt)
            return stop(Verdict::Truncated, lt);
        const bool closing = lt[1] == '/';
        const char* nameStart = lt + (closing ? 2 : 1);
        const char* nameEnd = nameStart;
        while (nameEnd < gt && !isNameEnd(*nameEnd))
            ++nameEnd;
        const std::string_view name(nameStart, static_cast<size_t>(nameEnd - nameStart));
        if (name.empty())
            return stop(Verdict::Unusual, lt);
        if (closing) {
            if (open.empty() || open.back() != name)
                return stop(Verdict::Damaged, lt);
            if (isContainerName(name))
                --depth;
            open.pop_back();
        } else {
            sawElement = true;
            if (gt[-1] != '/') {
                open.push_back(name);
                if (isContainerName(name) && ++depth > result.depth) {
                    result.depth = depth;
                    if (depth > maxDepth)
                        return stop(Verdict::TooDeep, lt);
                }
                if (open.size() > maxOpen)
                    return stop(Verdict::TooDeep, lt);
            }
        }
        position = gt + 1;
    }
    if (!open.empty())
        return stop(Verdict::Truncated, end);
    if (!sawElement)
        return stop(Verdict::Damaged, end);
    result.position = data.size();
    return result;
}

// ---- the binary form

namespace {

constexpr qsizetype kTrailerSize = 32;
constexpr qsizetype kHeaderSize = 8;

quint64 readBigEndian(const uchar* bytes, int length)
{
    quint64 value = 0;
    for (int i = 0; i < length; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

// What one container found so far unfolds to, and the same for every
// finished container (the binary form lets several references share one).
struct Unfolded
{
    quint32 values = 0; // saturating
    quint32 bytes = 0;  // text and data bytes, saturating
    quint16 height = 0; // containers nested in it, itself included
    quint8 state = 0;   // 0 not seen, 1 being walked, 2 done
};

struct Frame
{
    quint64 object;
    quint64 next;
    quint64 references;
    quint64 referenceStart;
    Unfolded unfolded;
};

class BinaryWalk
{
public:
    BinaryWalk(QByteArrayView data, int maxDepth)
        : mData(reinterpret_cast<const uchar*>(data.data())), mLength(static_cast<quint64>(data.size())),
          mMaxDepth(static_cast<quint64>(std::max(maxDepth, 0)))
    {}

    Result run();

private:
    struct Object
    {
        bool container = false;
        quint64 references = 0;
        quint64 referenceStart = 0;
        quint64 payload = 0;
    };

    bool offsetOf(quint64 index, quint64* offset) const;
    bool inspect(quint64 offset, Object* object) const;
    // Either the unfolded size of a leaf or finished container, or a new
    // frame on the stack (`pushed`).
    Verdict enter(quint64 index, Unfolded* unfolded, bool* pushed);
    Verdict fold(Unfolded* parent, const Unfolded& child, quint64 parentLevel) const;

    const uchar* mData;
    quint64 mLength;
    quint64 mMaxDepth;
    int mOffsetSize = 0;
    int mReferenceSize = 0;
    quint64 mObjectCount = 0;
    quint64 mTableStart = 0;
    quint64 mMaxValues = 0;
    quint64 mMaxBytes = 0;
    std::vector<Unfolded> mMemo;
    std::vector<Frame> mStack;
    quint64 mProblemOffset = 0;
    int mDeepest = 0;
};

bool BinaryWalk::offsetOf(quint64 index, quint64* offset) const
{
    const quint64 at = mTableStart + index * static_cast<quint64>(mOffsetSize);
    *offset = readBigEndian(mData + at, mOffsetSize);
    return *offset >= static_cast<quint64>(kHeaderSize) && *offset < mTableStart;
}

bool BinaryWalk::inspect(quint64 offset, Object* object) const
{
    const uchar marker = mData[offset];
    const int type = marker >> 4;
    const int info = marker & 0x0F;
    quint64 position = offset + 1;
    // A count held in the marker, or in an integer object behind it.
    const auto count = [&](quint64* value) {
        if (info != 0x0F) {
            *value = static_cast<quint64>(info);
            return true;
        }
        if (position >= mTableStart)
            return false;
        const uchar intMarker = mData[position];
        if ((intMarker >> 4) != 0x1 || (intMarker & 0x0F) > 3)
            return false;
        const int length = 1 << (intMarker & 0x0F);
        if (position + 1 + static_cast<quint64>(length) > mTableStart)
            return false;
        *value = readBigEndian(mData + position + 1, length);
        position += 1 + static_cast<quint64>(length);
        return true;
    };
    switch (type) {
    case 0xA: // array
    case 0xB: // ordered set
    case 0xC: // set
    case 0xD: // dictionary: the keys' references, then the values'
    {
        quint64 entries = 0;
        if (!count(&entries))
            return false;
        const quint64 perEntry = type == 0xD ? 2 : 1;
        if (entries > (mTableStart - position) / static_cast<quint64>(mReferenceSize) / perEntry)
            return false;
        object->container = true;
        object->references = entries * perEntry;
        object->referenceStart = position;
        return true;
    }
    case 0x4: // data
    case 0x5: // ASCII text
    case 0x6: // UTF-16 text
    case 0x7: // UTF-8 text
    {
        quint64 units = 0;
        if (!count(&units))
            return false;
        const quint64 unitSize = type == 0x6 ? 2 : 1;
        if (units > (mTableStart - position) / unitSize)
            return false;
        object->payload = units * unitSize;
        return true;
    }
    default:
        return true;
    }
}

Verdict BinaryWalk::fold(Unfolded* parent, const Unfolded& child, quint64 parentLevel) const
{
    const auto add = [](quint32 a, quint32 b) {
        const quint64 sum = static_cast<quint64>(a) + b;
        return static_cast<quint32>(std::min<quint64>(sum, std::numeric_limits<quint32>::max()));
    };
    parent->values = add(parent->values, child.values);
    parent->bytes = add(parent->bytes, child.bytes);
    parent->height = std::max<quint16>(parent->height, child.height);
    if (parentLevel + child.height > mMaxDepth)
        return Verdict::TooDeep;
    if (parent->values > mMaxValues || parent->bytes > mMaxBytes)
        return Verdict::TooLarge;
    return Verdict::Fine;
}

Verdict BinaryWalk::enter(quint64 index, Unfolded* unfolded, bool* pushed)
{
    *pushed = false;
    if (index >= mObjectCount)
        return Verdict::Damaged;
    Unfolded& memo = mMemo[index];
    if (memo.state == 2) {
        *unfolded = memo;
        return Verdict::Fine;
    }
    if (memo.state == 1)
        return Verdict::Damaged; // a container holding itself
    quint64 offset = 0;
    if (!offsetOf(index, &offset)) {
        mProblemOffset = mTableStart + index * static_cast<quint64>(mOffsetSize);
        return Verdict::Damaged;
    }
    Object object;
    if (!inspect(offset, &object)) {
        mProblemOffset = offset;
        return Verdict::Damaged;
    }
    if (!object.container) {
        unfolded->values = 1;
        unfolded->bytes = static_cast<quint32>(std::min<quint64>(object.payload, mMaxBytes + 1));
        unfolded->height = 0;
        return unfolded->bytes > mMaxBytes ? Verdict::TooLarge : Verdict::Fine;
    }
    if (mStack.size() + 1 > mMaxDepth) {
        mProblemOffset = offset;
        return Verdict::TooDeep;
    }
    memo.state = 1;
    Frame frame{index, 0, object.references, object.referenceStart, {}};
    frame.unfolded.values = 1;
    mStack.push_back(frame);
    mDeepest = std::max(mDeepest, static_cast<int>(mStack.size()));
    *pushed = true;
    return Verdict::Fine;
}

Result BinaryWalk::run()
{
    Result result;
    const auto stop = [&](Verdict verdict, quint64 at) {
        result.verdict = verdict;
        result.position = static_cast<qsizetype>(at);
        result.depth = mDeepest;
        return result;
    };
    const quint64 minimum = static_cast<quint64>(kHeaderSize + kTrailerSize);
    if (mLength < minimum || std::memcmp(mData, "bplist00", kHeaderSize) != 0)
        return stop(Verdict::Damaged, 0);
    // Every count below fits in 32 bits only for files under 2 GB.
    if (mLength > std::numeric_limits<quint32>::max() / 2)
        return stop(Verdict::TooLarge, 0);
    const uchar* trailer = mData + mLength - kTrailerSize;
    mOffsetSize = trailer[6];
    mReferenceSize = trailer[7];
    mObjectCount = readBigEndian(trailer + 8, 8);
    const quint64 top = readBigEndian(trailer + 16, 8);
    mTableStart = readBigEndian(trailer + 24, 8);
    const quint64 trailerStart = mLength - kTrailerSize;
    if (mOffsetSize < 1 || mOffsetSize > 8 || mReferenceSize < 1 || mReferenceSize > 8 || mObjectCount == 0 ||
        top >= mObjectCount || mTableStart < static_cast<quint64>(kHeaderSize) ||
        mTableStart > trailerStart ||
        mObjectCount > (trailerStart - mTableStart) / static_cast<quint64>(mOffsetSize))
        return stop(Verdict::Damaged, trailerStart);

    // Every value but the root takes a reference of at least one byte, so a
    // file whose containers are not shared never unfolds to more values than
    // it has bytes. Texts shared by many references (artist names, kinds) are
    // normal; a text unfolding to many times the file is not.
    mMaxValues = mLength + 1024;
    mMaxBytes = std::min<quint64>(16 * mLength + (1 << 20), std::numeric_limits<quint32>::max() - 1);
    mMemo.resize(mObjectCount);
    mStack.reserve(std::min<quint64>(mMaxDepth, 64));

    Unfolded unfolded;
    bool pushed = false;
    Verdict verdict = enter(top, &unfolded, &pushed);
    if (verdict != Verdict::Fine)
        return stop(verdict, mProblemOffset);
    while (!mStack.empty()) {
        Frame& frame = mStack.back();
        if (frame.next < frame.references) {
            const quint64 at = frame.referenceStart + frame.next * static_cast<quint64>(mReferenceSize);
            ++frame.next;
            const quint64 index = readBigEndian(mData + at, mReferenceSize);
            verdict = enter(index, &unfolded, &pushed);
            if (verdict != Verdict::Fine)
                return stop(verdict, mProblemOffset ? mProblemOffset : at);
            if (pushed)
                continue;
            verdict = fold(&frame.unfolded, unfolded, mStack.size());
            if (verdict != Verdict::Fine)
                return stop(verdict, at);
            continue;
        }
        Unfolded done = frame.unfolded;
        done.height = static_cast<quint16>(done.height + 1);
        done.state = 2;
        mMemo[frame.object] = done;
        const quint64 at = frame.referenceStart;
        mStack.pop_back();
        if (mStack.empty())
            break;
        verdict = fold(&mStack.back().unfolded, done, mStack.size());
        if (verdict != Verdict::Fine)
            return stop(verdict, at);
    }
    result.depth = mDeepest;
    result.position = static_cast<qsizetype>(mLength);
    return result;
}

} // namespace

Result PlistShapeCheck::checkBinary(QByteArrayView data, int maxDepth)
{
    return BinaryWalk(data, maxDepth).run();
}

Result PlistShapeCheck::check(QByteArrayView data, int maxDepth)
{
    return data.startsWith("bplist00") ? checkBinary(data, maxDepth) : checkXml(data, maxDepth);
}

QString PlistShapeCheck::describe(const Result& result, int maxDepth)
{
    switch (result.verdict) {
    case Verdict::Fine:
        return {};
    case Verdict::TooDeep:
        return WMFormat::string("property list nested more than %d levels deep", maxDepth);
    case Verdict::Truncated:
        return WMFormat::string("property list truncated @ %ld", static_cast<qint64>(result.position));
    case Verdict::Damaged:
        return WMFormat::string("property list damaged @ %ld", static_cast<qint64>(result.position));
    case Verdict::TooLarge:
        return QStringLiteral("binary property list unfolds to more values than it has bytes");
    case Verdict::Unusual:
        return WMFormat::string("property list markup left to our own reader @ %ld",
                                static_cast<qint64>(result.position));
    }
    return {};
}
