#include "ExpatPlistParser.h"

#include "PlistLeafReader.h"
#include "PlistTextSharing.h"
#include "support/WMFormat.h"

#include <QDateTime>

#include <expat.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

enum class Element : quint8
{
    Other = 0,
    Plist = 1,
    Dict = 2,
    Array = 3,
    Key = 4,
    String = 5,
    Integer = 6,
    Real = 7,
    Date = 8,
    Data = 9,
    True = 10,
    False = 11,
};

Element elementOf(const char* name)
{
    const auto is = [name](const char* literal) {
        return std::strcmp(name, literal) == 0;
    };
    switch (name[0]) {
    case 'k':
        return is("key") ? Element::Key : Element::Other;
    case 's':
        return is("string") ? Element::String : Element::Other;
    case 'i':
        return is("integer") ? Element::Integer : Element::Other;
    case 'd':
        if (is("dict"))
            return Element::Dict;
        if (is("date"))
            return Element::Date;
        return is("data") ? Element::Data : Element::Other;
    case 'a':
        return is("array") ? Element::Array : Element::Other;
    case 't':
        return is("true") ? Element::True : Element::Other;
    case 'f':
        return is("false") ? Element::False : Element::Other;
    case 'r':
        return is("real") ? Element::Real : Element::Other;
    case 'p':
        return is("plist") ? Element::Plist : Element::Other;
    default:
        return Element::Other;
    }
}

bool isContainer(Element element)
{
    return element == Element::Dict || element == Element::Array;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

struct ParserFree
{
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

// Expat is given the data in pieces: given all at once, it would copy them
// whole into a buffer of its own first.
constexpr qsizetype kPiece = 1 << 18;

// One open container. It is put into its parent when it closes, under the
// key that was current when it opened; nothing else can reach the parent in
// between, so the tree is the one libplist builds by attaching it at once.
struct Frame
{
    bool isDict = true;
    bool underKey = false; // else appended to an array, or the root
    QString keyInParent;
    std::map<QString, QVariant> map;
    QVariantList list;

    QVariant take() { return isDict ? QVariant(QVariantMap(std::move(map))) : QVariant(std::move(list)); }
};

class Reader
{
public:
    Reader(QByteArrayView data, int maxDepth)
        : mData(data), mMaxDepth(static_cast<size_t>(std::max(maxDepth, 0)))
    {}

    ExpatPlistParser::Result run();

private:
    static void XMLCALL onStart(void* user, const XML_Char* name, const XML_Char** attributes);
    static void XMLCALL onEnd(void* user, const XML_Char* name);
    static void XMLCALL onSkippedEntity(void* user, const XML_Char* name, int isParameter);
    static void XMLCALL onDoctype(void* user, const XML_Char* name, const XML_Char* systemId,
                                  const XML_Char* publicId, int hasInternalSubset);

    void start(Element element, const XML_Char** attributes);
    void end(Element element);
    // The bytes between the last tag and the one at `end`, inside the
    // document element and outside values: libplist passes over blanks,
    // comments and instructions there, and refuses anything else.
    bool gapIsBlank(qsizetype end);
    void decline(const char* reason);
    void finish();
    // Where a new value goes by libplist's rules; false when it has no place.
    bool place(bool* underKey, QString* key);
    void attach(QVariant value);
    std::optional<QVariant> leafValue(Element leaf, bool emptyForm, QByteArrayView raw, int keyIndex);
    qsizetype position() const { return static_cast<qsizetype>(XML_GetCurrentByteIndex(mParser)); }

    QByteArrayView mData;
    size_t mMaxDepth;
    XML_Parser mParser = nullptr;
    std::vector<Frame> mStack;
    int mElementDepth = 0;
    Element mLeaf = Element::Other;
    qsizetype mLeafStart = 0;
    qsizetype mGapStart = 0;
    // The key waiting for its value, as libplist keeps it: set by a key in a
    // dictionary, used by the next value, dropped by a container's end.
    bool mHasKey = false;
    QString mKey;
    int mKeyIndex = -1;
    QVariant mRoot;
    bool mRootOpened = false;
    bool mRootWasEmpty = false;
    bool mDone = false;
    QString mDeclined;
    std::string mScratch;
    PlistTextSharing mText;
};

ExpatPlistParser::Result Reader::run()
{
    ExpatPlistParser::Result result;
    // libplist refuses a byte-order mark and reads no declaration after
    // blanks; neither is worth a second way here. It reads nothing shorter
    // than the binary form's signature.
    if (mData.size() < 8 || mData.front() != '<') {
        result.declined = QStringLiteral("the data are too short or do not begin with a tag");
        return result;
    }
    // Whatever the declaration says: libplist reads every file as UTF-8.
    const std::unique_ptr<XML_ParserStruct, ParserFree> parser(XML_ParserCreate("UTF-8"));
    if (!parser) {
        result.declined = QStringLiteral("expat could not start");
        return result;
    }
    mParser = parser.get();
    XML_SetUserData(mParser, this);
    XML_SetElementHandler(mParser, onStart, onEnd);
    // No handler of text, comments or instructions: the bytes between tags
    // are looked at directly, as libplist sees them (gapIsBlank,
    // PlistLeafReader).
    XML_SetSkippedEntityHandler(mParser, onSkippedEntity);
    XML_SetStartDoctypeDeclHandler(mParser, onDoctype);
    mStack.reserve(64);

    for (qsizetype at = 0; at < mData.size(); at += kPiece) {
        const qsizetype length = std::min(kPiece, mData.size() - at);
        const bool last = at + length == mData.size();
        if (XML_Parse(mParser, mData.data() + at, static_cast<int>(length), last) != XML_STATUS_OK) {
            if (mDone || !mDeclined.isEmpty())
                break;
            const XML_Error code = XML_GetErrorCode(mParser);
            mDeclined = WMFormat::string("not well-formed XML (%s) @ %ld", XML_ErrorString(code),
                                         static_cast<qint64>(XML_GetCurrentByteIndex(mParser)));
            break;
        }
    }
    if (mDeclined.isEmpty() && !mDone) {
        // The end of the data without the root's closing tag: only a root
        // written as an empty element gets here.
        if (mRoot.isValid() && mStack.empty())
            mDone = true;
        else
            mDeclined = QStringLiteral("no root container");
    }
    if (!mDeclined.isEmpty()) {
        result.declined = mDeclined;
        return result;
    }
    result.root = std::move(mRoot);
    return result;
}

void Reader::decline(const char* reason)
{
    if (mDeclined.isEmpty())
        mDeclined = WMFormat::string("%s @ %ld", reason, static_cast<qint64>(position()));
    XML_StopParser(mParser, XML_FALSE);
}

void Reader::finish()
{
    mDone = true;
    XML_StopParser(mParser, XML_FALSE);
}

// A stopped parser still reports the end of an empty-element tag whose
// start stopped it: nothing is done once the reading is over.
void XMLCALL Reader::onStart(void* user, const XML_Char* name, const XML_Char** attributes)
{
    auto* reader = static_cast<Reader*>(user);
    if (!reader->mDone && reader->mDeclined.isEmpty())
        reader->start(elementOf(name), attributes);
}

void XMLCALL Reader::onEnd(void* user, const XML_Char* name)
{
    auto* reader = static_cast<Reader*>(user);
    if (!reader->mDone && reader->mDeclined.isEmpty())
        reader->end(elementOf(name));
}

void XMLCALL Reader::onSkippedEntity(void* user, const XML_Char*, int)
{
    static_cast<Reader*>(user)->decline("a reference to an entity of the document type");
}

void XMLCALL Reader::onDoctype(void* user, const XML_Char*, const XML_Char*, const XML_Char*,
                               int hasInternalSubset)
{
    if (hasInternalSubset)
        static_cast<Reader*>(user)->decline("a document type with declarations of its own");
}

bool Reader::gapIsBlank(qsizetype end)
{
    const std::string_view gap(mData.data() + mGapStart,
                               static_cast<size_t>(std::max<qsizetype>(end - mGapStart, 0)));
    size_t at = 0;
    while (at < gap.size()) {
        if (isBlank(gap[at])) {
            ++at;
            continue;
        }
        const std::string_view closer = gap.substr(at).starts_with("<!--") ? "-->"
                                        : gap.substr(at).starts_with("<?") ? "?>"
                                                                           : std::string_view();
        const size_t close = closer.empty() ? std::string_view::npos : gap.find(closer, at + 2);
        if (close == std::string_view::npos) {
            decline("text between the elements of a container");
            return false;
        }
        at = close + closer.size();
    }
    return true;
}

bool Reader::place(bool* underKey, QString* key)
{
    if (mStack.empty()) {
        if (mRootOpened) {
            decline("a second root");
            return false;
        }
        *underKey = false;
        return true;
    }
    if (mStack.back().isDict) {
        if (!mHasKey) {
            decline("a value without a key");
            return false;
        }
        *underKey = true;
        *key = std::move(mKey);
    } else {
        *underKey = false;
    }
    mHasKey = false;
    mKey = QString();
    return true;
}

void Reader::attach(QVariant value)
{
    bool underKey = false;
    QString key;
    if (mStack.empty()) {
        decline("a root that is not a container");
        return;
    }
    if (!place(&underKey, &key))
        return;
    Frame& parent = mStack.back();
    if (underKey)
        parent.map.insert_or_assign(std::move(key), std::move(value));
    else
        parent.list.append(std::move(value));
}

void Reader::start(Element element, const XML_Char** attributes)
{
    if (element == Element::Other) {
        decline("an element libplist does not know");
        return;
    }
    if (mLeaf != Element::Other) {
        decline("an element inside a value");
        return;
    }
    if (mRootWasEmpty) {
        decline("values after a root written as an empty element");
        return;
    }
    // libplist ends a tag at the first ">", quoted or not.
    for (const XML_Char** attribute = attributes; *attribute; attribute += 2) {
        if (std::strchr(attribute[1], '>')) {
            decline("an attribute holding \">\"");
            return;
        }
    }
    const qsizetype tagEnd = position() + XML_GetCurrentByteCount(mParser);
    if (mElementDepth > 0 && !gapIsBlank(position()))
        return;
    mGapStart = tagEnd;
    ++mElementDepth;
    if (element == Element::Plist) {
        if (mElementDepth != 1)
            decline("a plist element inside another");
        return;
    }
    if (isContainer(element)) {
        if (mStack.size() >= mMaxDepth) {
            decline("containers nested too deeply");
            return;
        }
        Frame frame;
        frame.isDict = element == Element::Dict;
        if (!place(&frame.underKey, &frame.keyInParent))
            return;
        mRootOpened = true;
        mStack.push_back(std::move(frame));
        return;
    }
    mLeaf = element;
    mLeafStart = tagEnd;
}

void Reader::end(Element element)
{
    --mElementDepth;
    // An empty-element tag ends with no bytes of its own.
    const int count = XML_GetCurrentByteCount(mParser);
    const bool emptyForm = count == 0;
    if (!emptyForm) {
        // A value's bytes are read whole when it ends.
        if (mLeaf == Element::Other && !gapIsBlank(position()))
            return;
        mGapStart = position() + count;
    }
    if (element == Element::Plist) {
        // Reached only when the root has not closed before: a plist element
        // that held no container, or one written as an empty element.
        if (!mRoot.isValid() || emptyForm)
            decline("a plist element without a root container");
        return;
    }
    if (isContainer(element)) {
        if (mStack.empty()) {
            decline("a container closed that never opened");
            return;
        }
        Frame frame = std::move(mStack.back());
        mStack.pop_back();
        if (mStack.empty()) {
            mRoot = frame.take();
            // libplist stops reading when the root closes; a root written
            // as an empty element stays open to what follows.
            if (emptyForm)
                mRootWasEmpty = true;
            else
                finish();
            return;
        }
        Frame& parent = mStack.back();
        if (frame.underKey)
            parent.map.insert_or_assign(std::move(frame.keyInParent), frame.take());
        else
            parent.list.append(frame.take());
        if (!emptyForm) {
            mHasKey = false;
            mKey = QString();
        }
        return;
    }

    const Element leaf = mLeaf;
    mLeaf = Element::Other;
    const qsizetype contentEnd = position();
    const QByteArrayView raw =
        emptyForm ? QByteArrayView()
                  : mData.sliced(mLeafStart, std::max<qsizetype>(contentEnd - mLeafStart, 0));
    const bool inDict = !mStack.empty() && mStack.back().isDict;
    if (leaf == Element::Key && !emptyForm && !mHasKey && inDict) {
        const std::optional<QByteArrayView> key = PlistLeafReader::text(raw, &mScratch);
        if (!key) {
            decline("a key libplist does not read");
            return;
        }
        mKeyIndex = mText.keyIndex(key->data(), key->size());
        mKey = mText.keyText(mKeyIndex, key->data(), key->size());
        mHasKey = true;
        return;
    }
    std::optional<QVariant> value = leafValue(leaf, emptyForm, raw, inDict && mHasKey ? mKeyIndex : -1);
    if (!value) {
        decline("a value libplist does not read");
        return;
    }
    attach(std::move(*value));
}

std::optional<QVariant> Reader::leafValue(Element leaf, bool emptyForm, QByteArrayView raw, int keyIndex)
{
    switch (leaf) {
    case Element::Key:
    case Element::String: {
        // A key that is no dictionary's key is a string value to libplist.
        static const char empty[] = "";
        const std::optional<QByteArrayView> text =
            emptyForm ? QByteArrayView(empty, 0) : PlistLeafReader::text(raw, &mScratch);
        if (!text)
            return std::nullopt;
        return QVariant(mText.value(text->data(), text->size(), keyIndex));
    }
    case Element::Integer:
        return emptyForm ? QVariant(0) : PlistLeafReader::integer(raw);
    case Element::Real:
        return emptyForm ? QVariant(0.0) : PlistLeafReader::real(raw);
    case Element::Date:
        return emptyForm ? QVariant(QDateTime::fromSecsSinceEpoch(978307200, Qt::UTC))
                         : PlistLeafReader::date(raw);
    case Element::Data:
        return emptyForm ? QVariant(QByteArray()) : PlistLeafReader::data(raw);
    case Element::True:
    case Element::False:
        // libplist passes over what they hold, as far as it reads it.
        if (emptyForm || raw.isEmpty())
            return QVariant(leaf == Element::True);
        return PlistLeafReader::boolean(leaf == Element::True, raw);
    default:
        return std::nullopt;
    }
}

} // namespace

ExpatPlistParser::Result ExpatPlistParser::parse(QByteArrayView data, int maxDepth)
{
    return Reader(data, maxDepth).run();
}
