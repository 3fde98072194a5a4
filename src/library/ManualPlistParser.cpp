#include "ManualPlistParser.h"

#include "support/WMLog.h"
#include "text/WMStringExtensions.h"
#include "text/WendmarkTextExtensions.h"

#include <QDateTime>

#include <cstring>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

// The tags the reader acts on; every other tag (plist, real, data, the XML
// declaration, the doctype, closing tags of leaves) is passed over.
enum class Tag
{
    Other = 0,
    Dict = 1,
    Array = 2,
    EndDict = 3,
    EndArray = 4,
    Key = 5,
    String = 6,
    Integer = 7,
    Date = 8,
    True = 9,
    False = 10,
};

Tag classify(const char* tag, qsizetype length)
{
    auto is = [&](const char* literal) {
        return std::memcmp(tag, literal, static_cast<size_t>(length)) == 0;
    };
    switch (length) {
    case 5:
        return is("<key>") ? Tag::Key : Tag::Other;
    case 6:
        if (is("<dict>"))
            return Tag::Dict;
        return is("<date>") ? Tag::Date : Tag::Other;
    case 7:
        if (is("</dict>"))
            return Tag::EndDict;
        if (is("<array>"))
            return Tag::Array;
        return is("<true/>") ? Tag::True : Tag::Other;
    case 8:
        if (is("<string>"))
            return Tag::String;
        if (is("</array>"))
            return Tag::EndArray;
        return is("<false/>") ? Tag::False : Tag::Other;
    case 9:
        return is("<integer>") ? Tag::Integer : Tag::Other;
    default:
        return Tag::Other;
    }
}

// Length of the leading run of 7-bit bytes, eight at a time where possible.
qsizetype asciiPrefix(const char* bytes, qsizetype length)
{
    qsizetype i = 0;
    for (; i + 8 <= length; i += 8) {
        quint64 word;
        std::memcpy(&word, bytes + i, 8);
        if (word & 0x8080808080808080ULL)
            break;
    }
    while (i < length && static_cast<unsigned char>(bytes[i]) < 0x80)
        ++i;
    return i;
}

bool isBlank(int c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// Takes the digits of a leading integer modulo 2^32, which is exactly the
// low 32 bits of the whole number however long it is.
template <typename Char, typename Value> int leadingInt32Of(const Char* text, qsizetype length, Value valueOf)
{
    qsizetype i = 0;
    while (i < length && isBlank(valueOf(text[i])))
        ++i;
    bool negative = false;
    if (i < length && (valueOf(text[i]) == '-' || valueOf(text[i]) == '+')) {
        negative = valueOf(text[i]) == '-';
        ++i;
    }
    quint32 value = 0;
    for (; i < length; ++i) {
        const int c = valueOf(text[i]);
        if (c < '0' || c > '9')
            break;
        value = value * 10u + static_cast<quint32>(c - '0');
    }
    if (negative)
        value = 0u - value;
    return static_cast<int>(value);
}

// One open container. It is attached to its parent when it is closed (or
// when the parse ends), under the key that was current when it was opened;
// nothing else can reach the parent in between, so the tree is the same as
// if it had been attached at once.
struct Frame
{
    enum class Attach
    {
        None = 0,
        ToDict = 1,
        ToArray = 2
    };

    bool isDict = true;
    Attach attach = Attach::None;
    QString keyInParent;
    QVariantMap map;
    QVariantList list;

    QVariant take() { return isDict ? QVariant(std::move(map)) : QVariant(std::move(list)); }
};

// The state of one parse.
class Reader
{
public:
    explicit Reader(QByteArrayView data) : mData(data.data()), mLength(data.size()) {}

    ManualPlistParser::Result run();

private:
    QString decode(const char* bytes, qsizetype length, bool* isPlainAscii);
    QString keyText(const char* bytes, qsizetype length);
    void open(bool isDict, qsizetype position);
    void attach(QVariant value);
    void closeInnermost();

    const char* mData;
    qsizetype mLength;
    std::vector<Frame> mStack;
    QString mCurrentKey;
    QString mError;
    qint64 mValues = 0;
    qint64 mUtf8Errors = 0;
    // What tells a complete file from a truncated one: the last tag ended,
    // the root container was closed, a file that opened <plist> also closed
    // it, and one that began with a declaration went on to an element.
    bool mEndedInsideTag = false;
    bool mRootClosed = false;
    bool mPlistOpened = false;
    bool mPlistClosed = false;
    bool mSawDeclaration = false;
    bool mSawElement = false;
    // Keys repeat thousands of times in a library ("Track ID", "Name", ...):
    // plain ones are shared instead of allocated again.
    std::unordered_map<std::string_view, QString> mKeyCache;
};

constexpr size_t kKeyCacheLimit = 4096;
constexpr qsizetype kCachedKeyMaxLength = 128;

QString Reader::decode(const char* bytes, qsizetype length, bool* isPlainAscii)
{
    const qsizetype ascii = asciiPrefix(bytes, length);
    *isPlainAscii = ascii == length;
    QString text;
    if (ascii == length) {
        text = QString::fromLatin1(bytes, length);
    } else if (ManualPlistParser::isValidUtf8(bytes + ascii, length - ascii)) {
        text = QString::fromUtf8(bytes, length); // a leading byte-order mark is dropped
    } else {
        // Text that is not UTF-8 holds a byte above 127, so it cannot be the
        // 7-bit backslash-escaped form either: it becomes a placeholder.
        ++mUtf8Errors;
        return WMFormat::string("[NON-UTF8-%ld]", mUtf8Errors);
    }
    if (std::memchr(bytes, '&', static_cast<size_t>(length)))
        text = WMStringExtensions::stringByReplacingAmpersandCodes(text);
    return text;
}

QString Reader::keyText(const char* bytes, qsizetype length)
{
    if (length > kCachedKeyMaxLength)
        return {};
    const std::string_view raw(bytes, static_cast<size_t>(length));
    const auto found = mKeyCache.find(raw);
    if (found != mKeyCache.end())
        return found->second;
    return {};
}

void Reader::open(bool isDict, qsizetype position)
{
    if (mStack.size() >= static_cast<size_t>(ManualPlistParser::kMaxDepth)) {
        mError = WMFormat::string("nesting too deep @ %d", position);
        WMLog("[mutPListFrom] more than %d nested containers @ %d", ManualPlistParser::kMaxDepth, position);
        return;
    }
    Frame frame;
    frame.isDict = isDict;
    if (!mStack.empty()) {
        const Frame& parent = mStack.back();
        if (!parent.isDict) {
            frame.attach = Frame::Attach::ToArray;
        } else if (!mCurrentKey.isEmpty()) {
            frame.attach = Frame::Attach::ToDict;
            frame.keyInParent = mCurrentKey;
        }
    }
    mStack.push_back(std::move(frame));
}

void Reader::attach(QVariant value)
{
    if (mStack.empty())
        return;
    Frame& parent = mStack.back();
    if (!parent.isDict)
        parent.list.append(std::move(value));
    else if (!mCurrentKey.isEmpty())
        parent.map.insert(mCurrentKey, std::move(value));
}

void Reader::closeInnermost()
{
    Frame frame = std::move(mStack.back());
    mStack.pop_back();
    Frame& parent = mStack.back();
    if (frame.attach == Frame::Attach::ToArray)
        parent.list.append(frame.take());
    else if (frame.attach == Frame::Attach::ToDict)
        parent.map.insert(frame.keyInParent, frame.take());
}

ManualPlistParser::Result Reader::run()
{
    mStack.reserve(64);
    const char* const end = mData + mLength;
    qsizetype position = 0;
    while (position < mLength - 1) {
        const char* lt = static_cast<const char*>(
            std::memchr(mData + position, '<', static_cast<size_t>(mLength - position)));
        if (!lt)
            break;
        const char* gt = static_cast<const char*>(std::memchr(lt, '>', static_cast<size_t>(end - lt)));
        if (!gt) {
            mEndedInsideTag = true;
            break;
        }
        const qsizetype tagLength = gt - lt + 1;
        if (asciiPrefix(lt, tagLength) != tagLength) {
            mError = WMFormat::string("invalid tag @ %d", lt - mData);
            break;
        }
        const Tag tag = classify(lt, tagLength);
        if (lt[1] == '?' || lt[1] == '!')
            mSawDeclaration = true;
        else
            mSawElement = true;

        if (tag == Tag::Dict || tag == Tag::Array) {
            open(tag == Tag::Dict, lt - mData);
            if (!mError.isEmpty())
                break;
        }

        const char* textStart = gt + 1;
        const char* textEnd =
            static_cast<const char*>(std::memchr(textStart, '<', static_cast<size_t>(end - textStart)));
        if (!textEnd)
            textEnd = end;
        const qsizetype textLength = textEnd - textStart;
        position = textEnd - mData;
        // Text that runs to the end of the data was cut off: it is no value.
        const bool textEnded = textEnd != end;

        // The text, decoded only where the tag uses it. Elsewhere (mostly the
        // blanks between tags) it is only checked: plain 7-bit text is never
        // empty after decoding, so it needs nothing more.
        const bool textUsed =
            tag == Tag::Key || tag == Tag::String || tag == Tag::Integer || tag == Tag::Date;
        QString text;
        bool plainAscii = false;
        bool cachedKey = false;
        const bool hasText = textLength > 0;
        if (hasText) {
            if (tag == Tag::Key) {
                text = keyText(textStart, textLength);
                cachedKey = plainAscii = !text.isNull();
            }
            if (!cachedKey) {
                if (textUsed || asciiPrefix(textStart, textLength) != textLength)
                    text = decode(textStart, textLength, &plainAscii);
                else
                    plainAscii = true;
            }
            if (textUsed || !plainAscii) {
                if (text.isEmpty()) {
                    mError = WMFormat::string("invalid value @ %d", textStart - mData);
                    break;
                }
            }
            ++mValues;
        }

        switch (tag) {
        case Tag::String:
            if (hasText && textEnded)
                attach(text);
            break;
        case Tag::Integer:
            if (hasText && textEnded) {
                const bool raw = plainAscii && !std::memchr(textStart, '&', static_cast<size_t>(textLength));
                attach(raw ? ManualPlistParser::leadingInt32(QByteArrayView(textStart, textLength))
                           : ManualPlistParser::leadingInt32(text));
            }
            break;
        case Tag::Date:
            if (hasText && textEnded) {
                if (const std::optional<QDateTime> date = WendmarkTextExtensions::plistDateValue(text))
                    attach(*date);
                else if (const QDateTime calendar = ManualPlistParser::calendarDate(text); calendar.isValid())
                    attach(calendar);
            }
            break;
        case Tag::True:
            attach(true);
            break;
        case Tag::False:
            attach(false);
            break;
        case Tag::Key:
            if (hasText && !cachedKey && plainAscii && mKeyCache.size() < kKeyCacheLimit &&
                textLength <= kCachedKeyMaxLength &&
                !std::memchr(textStart, '&', static_cast<size_t>(textLength)))
                mKeyCache.emplace(std::string_view(textStart, static_cast<size_t>(textLength)), text);
            mCurrentKey = hasText ? text : QString();
            break;
        case Tag::EndDict:
        case Tag::EndArray:
            if (mStack.size() > 1)
                closeInnermost();
            else if (!mStack.empty())
                mRootClosed = true;
            break;
        case Tag::Other:
            if (tagLength > 6 && std::memcmp(lt, "<plist", 6) == 0 && (lt[6] == '>' || isBlank(lt[6])))
                mPlistOpened = true;
            else if (tagLength == 8 && std::memcmp(lt, "</plist>", 8) == 0)
                mPlistClosed = true;
            break;
        case Tag::Dict:
        case Tag::Array:
            break;
        }
    }
    const bool truncated = mEndedInsideTag || (!mStack.empty() && !mRootClosed) ||
                           (mPlistOpened && !mPlistClosed) || (mSawDeclaration && !mSawElement);
    if (mError.isEmpty() && truncated) {
        mError = WMFormat::string("truncated @ %ld", mLength);
        WMLog("[mutPListFrom] the data end before the document does @ %ld", mLength);
    }

    ManualPlistParser::Result result;
    while (mStack.size() > 1)
        closeInnermost();
    if (!mStack.empty())
        result.root = mStack.front().take();
    result.error = mError;
    result.values = mValues;
    result.utf8Errors = mUtf8Errors;
    return result;
}

} // namespace

ManualPlistParser::Result ManualPlistParser::parse(QByteArrayView data)
{
    return Reader(data).run();
}

int ManualPlistParser::leadingInt32(QStringView text)
{
    return leadingInt32Of(text.data(), text.size(), [](QChar c) { return static_cast<int>(c.unicode()); });
}

int ManualPlistParser::leadingInt32(QByteArrayView asciiText)
{
    return leadingInt32Of(asciiText.data(), asciiText.size(),
                          [](char c) { return static_cast<int>(static_cast<unsigned char>(c)); });
}

QDateTime ManualPlistParser::calendarDate(QStringView text)
{
    qsizetype i = 0;
    auto number = [&](int maxDigits, int* out) {
        int digits = 0;
        int value = 0;
        while (i < text.size() && digits < maxDigits && text[i] >= QLatin1Char('0') &&
               text[i] <= QLatin1Char('9')) {
            value = value * 10 + (text[i].unicode() - '0');
            ++digits;
            ++i;
        }
        *out = value;
        return digits > 0;
    };
    auto literal = [&](char c) {
        if (i < text.size() && text[i] == QLatin1Char(c)) {
            ++i;
            return true;
        }
        return false;
    };
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!(number(4, &year) && literal('-') && number(2, &month) && literal('-') && number(2, &day) &&
          literal('T') && number(2, &hour) && literal(':') && number(2, &minute) && literal(':') &&
          number(2, &second) && literal('Z')))
        return {};
    const QDate date(year, month, day);
    const QTime time(hour, minute, second);
    if (!date.isValid() || !time.isValid())
        return {};
    return QDateTime(date, time, Qt::UTC);
}

bool ManualPlistParser::isValidUtf8(const char* bytes, qsizetype length)
{
    const auto* s = reinterpret_cast<const unsigned char*>(bytes);
    qsizetype i = 0;
    while (i < length) {
        const unsigned char c = s[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        auto continuation = [&](qsizetype at) {
            return at < length && (s[at] & 0xC0) == 0x80;
        };
        if (c >= 0xC2 && c <= 0xDF) {
            if (!continuation(i + 1))
                return false;
            i += 2;
        } else if (c >= 0xE0 && c <= 0xEF) {
            if (!continuation(i + 1) || !continuation(i + 2))
                return false;
            const unsigned char c1 = s[i + 1];
            if ((c == 0xE0 && c1 < 0xA0) || (c == 0xED && c1 > 0x9F)) // overlong, surrogate
                return false;
            i += 3;
        } else if (c >= 0xF0 && c <= 0xF4) {
            if (!continuation(i + 1) || !continuation(i + 2) || !continuation(i + 3))
                return false;
            const unsigned char c1 = s[i + 1];
            if ((c == 0xF0 && c1 < 0x90) || (c == 0xF4 && c1 > 0x8F)) // overlong, above U+10FFFF
                return false;
            i += 4;
        } else {
            return false;
        }
    }
    return true;
}
