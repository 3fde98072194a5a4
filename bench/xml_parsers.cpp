// The XML parsers that could read a library export for us, side by side. Each
// one builds the tree the program uses (QVariantMap / QVariantList / QString /
// int or qlonglong / double / bool / QDateTime / QByteArray, with repeated keys
// and values sharing their text) from the same file, in a process of its own,
// and the tool prints the time of parse and build, the peak memory and a
// fingerprint of the tree, which must be the same for every parser.
//
//   bench_tool_xml_parsers FILE PARSER
//
// PARSER: none (the file read, nothing parsed), libplist (the reader as it was: the shape check, libplist and
// the conversion of its tree), libplist-parse (libplist's parse alone, no tree of ours), shape-check (the
// look at the bytes alone), expat, libxml2-sax, libxml2-reader, pugixml, qt (QXmlStreamReader), manual (our
// own tolerant reader, which drops reals and data and cuts integers to 32 bits, so its fingerprint differs
// where the file has them), program (the property-list reader as the program calls it). Driven by
// bench/compare-xml-parsers.
#include "library/ManualPlistParser.h"
#include "library/PlistShapeCheck.h"
#include "library/PlistTextSharing.h"
#include "library/PropertyListReader.h"
#include "library/SystemPlistParser.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QStandardPaths>
#include <QXmlStreamReader>

#include <expat.h>
#include <libxml/parser.h>
#include <libxml/xmlreader.h>
#include <plist/plist.h>
#include <pugixml.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <vector>

namespace {

// ---- the tree, built from parser events the same way for every parser

enum class Element
{
    Plist,
    Dict,
    Array,
    Key,
    String,
    Integer,
    Real,
    Date,
    Data,
    True,
    False,
    Other,
};

Element elementOf(std::string_view name)
{
    static const std::pair<std::string_view, Element> names[] = {
        {"key", Element::Key},   {"string", Element::String}, {"integer", Element::Integer},
        {"dict", Element::Dict}, {"array", Element::Array},   {"date", Element::Date},
        {"true", Element::True}, {"false", Element::False},   {"real", Element::Real},
        {"data", Element::Data}, {"plist", Element::Plist},
    };
    for (const auto& [text, element] : names) {
        if (text == name)
            return element;
    }
    return Element::Other;
}

Element elementOf(QStringView name)
{
    char ascii[16];
    if (name.size() >= static_cast<qsizetype>(sizeof ascii))
        return Element::Other;
    for (qsizetype i = 0; i < name.size(); ++i)
        ascii[i] = static_cast<char>(name[i].unicode() < 128 ? name[i].unicode() : '?');
    return elementOf(std::string_view(ascii, static_cast<size_t>(name.size())));
}

// "%Y-%m-%dT%H:%M:%SZ" in UTC.
QVariant dateOf(std::string_view text)
{
    const QDateTime date = QDateTime::fromString(
        QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size())).trimmed(), Qt::ISODate);
    return date.isValid() ? QVariant(date.toUTC()) : QVariant(QDateTime::fromSecsSinceEpoch(0, Qt::UTC));
}

QVariant integerOf(const std::string& text)
{
    const auto value = static_cast<qint64>(std::strtoll(text.c_str(), nullptr, 10));
    if (value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max())
        return static_cast<int>(value);
    return static_cast<qlonglong>(value);
}

class TreeBuilder
{
public:
    bool start(Element element)
    {
        if (mLeaf != Element::Other)
            return false;
        switch (element) {
        case Element::Plist:
            return true;
        case Element::Dict:
        case Element::Array:
            mStack.push_back(Frame{element == Element::Dict, mKey, mKeyIndex, {}, {}});
            return mStack.size() <= 512;
        case Element::Other:
            return false;
        default:
            mLeaf = element;
            mText.clear();
            mUtf16.clear();
            return true;
        }
    }

    void text(const char* bytes, size_t length)
    {
        if (mLeaf != Element::Other)
            mText.append(bytes, length);
    }

    void text(QStringView text)
    {
        if (mLeaf != Element::Other)
            mUtf16.append(text);
    }

    bool end(Element element)
    {
        if (element == Element::Plist)
            return true;
        if (element == Element::Dict || element == Element::Array) {
            if (mStack.empty())
                return false;
            Frame frame = std::move(mStack.back());
            mStack.pop_back();
            QVariant value =
                frame.isDict ? QVariant(QVariantMap(std::move(frame.map))) : QVariant(std::move(frame.list));
            if (mStack.empty()) {
                mRoot = std::move(value);
                return true;
            }
            mKey = frame.keyInParent;
            mKeyIndex = frame.keyIndexInParent;
            attach(std::move(value));
            return true;
        }
        const Element leaf = mLeaf;
        mLeaf = Element::Other;
        if (!mUtf16.isEmpty())
            mText = mUtf16.toStdString();
        switch (leaf) {
        case Element::Key:
            mKeyIndex = mSharing.keyIndex(mText.data(), static_cast<qsizetype>(mText.size()));
            mKey = mSharing.keyText(mKeyIndex, mText.data(), static_cast<qsizetype>(mText.size()));
            return true;
        case Element::String:
            attach(mSharing.value(mText.data(), static_cast<qsizetype>(mText.size()),
                                  inDict() ? mKeyIndex : -1));
            return true;
        case Element::Integer:
            attach(integerOf(mText));
            return true;
        case Element::Real:
            attach(std::atof(mText.c_str()));
            return true;
        case Element::Date:
            attach(dateOf(mText));
            return true;
        case Element::Data:
            attach(QByteArray::fromBase64(
                QByteArray::fromRawData(mText.data(), static_cast<qsizetype>(mText.size()))));
            return true;
        case Element::True:
        case Element::False:
            attach(leaf == Element::True);
            return true;
        default:
            return false;
        }
    }

    QVariant take() { return std::move(mRoot); }

private:
    struct Frame
    {
        bool isDict;
        QString keyInParent;
        int keyIndexInParent;
        std::map<QString, QVariant> map;
        QVariantList list;
    };

    bool inDict() const { return !mStack.empty() && mStack.back().isDict; }

    void attach(QVariant value)
    {
        if (mStack.empty()) {
            mRoot = std::move(value);
            return;
        }
        Frame& parent = mStack.back();
        if (parent.isDict)
            parent.map.insert_or_assign(mKey, std::move(value));
        else
            parent.list.append(std::move(value));
    }

    std::vector<Frame> mStack;
    Element mLeaf = Element::Other;
    std::string mText;
    QString mUtf16;
    QString mKey;
    int mKeyIndex = -1;
    PlistTextSharing mSharing;
    QVariant mRoot;
};

// ---- the parsers

constexpr qsizetype kChunk = 1 << 16;

QVariant withExpat(const QByteArray& data)
{
    struct State
    {
        TreeBuilder builder;
        XML_Parser parser;
        bool failed = false;
    } state;
    state.parser = XML_ParserCreate("UTF-8");
    XML_SetUserData(state.parser, &state);
    XML_SetElementHandler(
        state.parser,
        [](void* user, const XML_Char* name, const XML_Char**) {
            auto* s = static_cast<State*>(user);
            if (!s->builder.start(elementOf(std::string_view(name))))
                XML_StopParser(s->parser, XML_FALSE);
        },
        [](void* user, const XML_Char* name) {
            auto* s = static_cast<State*>(user);
            if (!s->builder.end(elementOf(std::string_view(name))))
                XML_StopParser(s->parser, XML_FALSE);
        });
    XML_SetCharacterDataHandler(state.parser, [](void* user, const XML_Char* text, int length) {
        static_cast<State*>(user)->builder.text(text, static_cast<size_t>(length));
    });
    // Fed in pieces: given the whole file at once, expat copies it first.
    bool ok = true;
    for (qsizetype at = 0; ok && at < data.size(); at += kChunk) {
        const qsizetype length = std::min(kChunk, data.size() - at);
        ok = XML_Parse(state.parser, data.constData() + at, static_cast<int>(length),
                       at + length == data.size()) == XML_STATUS_OK;
    }
    XML_ParserFree(state.parser);
    return ok ? state.builder.take() : QVariant();
}

struct Libxml2State
{
    TreeBuilder builder;
    bool failed = false;
};

QVariant withLibxml2Sax(const QByteArray& data)
{
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = [](void* user, const xmlChar* name, const xmlChar*, const xmlChar*, int,
                                const xmlChar**, int, int, const xmlChar**) {
        auto* s = static_cast<Libxml2State*>(user);
        if (!s->builder.start(elementOf(std::string_view(reinterpret_cast<const char*>(name)))))
            s->failed = true;
    };
    handler.endElementNs = [](void* user, const xmlChar* name, const xmlChar*, const xmlChar*) {
        auto* s = static_cast<Libxml2State*>(user);
        if (!s->builder.end(elementOf(std::string_view(reinterpret_cast<const char*>(name)))))
            s->failed = true;
    };
    handler.characters = [](void* user, const xmlChar* text, int length) {
        static_cast<Libxml2State*>(user)->builder.text(reinterpret_cast<const char*>(text),
                                                       static_cast<size_t>(length));
    };
    // Pushed in pieces: given the whole file at once, libxml2 copies it first.
    Libxml2State state;
    xmlParserCtxtPtr context = xmlCreatePushParserCtxt(&handler, &state, nullptr, 0, nullptr);
    xmlCtxtUseOptions(context, XML_PARSE_NONET);
    int rc = 0;
    for (qsizetype at = 0; rc == 0 && !state.failed && at < data.size(); at += kChunk) {
        const qsizetype length = std::min(kChunk, data.size() - at);
        rc = xmlParseChunk(context, data.constData() + at, static_cast<int>(length),
                           at + length == data.size());
    }
    const bool wellFormed = context->wellFormed != 0;
    xmlFreeParserCtxt(context);
    return rc == 0 && wellFormed && !state.failed ? state.builder.take() : QVariant();
}

QVariant withLibxml2Reader(const QByteArray& data)
{
    xmlTextReaderPtr reader = xmlReaderForMemory(data.constData(), static_cast<int>(data.size()), nullptr,
                                                 nullptr, XML_PARSE_NONET);
    if (!reader)
        return {};
    TreeBuilder builder;
    bool ok = true;
    int rc = 0;
    while (ok && (rc = xmlTextReaderRead(reader)) == 1) {
        const int type = xmlTextReaderNodeType(reader);
        const auto name = [&] {
            return std::string_view(reinterpret_cast<const char*>(xmlTextReaderConstLocalName(reader)));
        };
        if (type == XML_READER_TYPE_ELEMENT) {
            const Element element = elementOf(name());
            ok = builder.start(element);
            if (ok && xmlTextReaderIsEmptyElement(reader))
                ok = builder.end(element);
        } else if (type == XML_READER_TYPE_END_ELEMENT) {
            ok = builder.end(elementOf(name()));
        } else if (type == XML_READER_TYPE_TEXT || type == XML_READER_TYPE_SIGNIFICANT_WHITESPACE) {
            const char* value = reinterpret_cast<const char*>(xmlTextReaderConstValue(reader));
            builder.text(value, std::strlen(value));
        }
    }
    xmlFreeTextReader(reader);
    return ok && rc == 0 ? builder.take() : QVariant();
}

QVariant withPugixml(const QByteArray& data)
{
    pugi::xml_document document;
    if (!document.load_buffer(data.constData(), static_cast<size_t>(data.size()), pugi::parse_default,
                              pugi::encoding_utf8))
        return {};
    // Walked without recursion, as every reader of ours must.
    TreeBuilder builder;
    bool ok = true;
    pugi::xml_node node = document.first_child();
    while (ok && node) {
        if (node.type() == pugi::node_element) {
            const Element element = elementOf(std::string_view(node.name()));
            ok = builder.start(element);
            if (node.first_child()) {
                node = node.first_child();
                continue;
            }
            ok = ok && builder.end(element);
        } else if (node.type() == pugi::node_pcdata) {
            builder.text(node.value(), std::strlen(node.value()));
        }
        // The next node: a sibling, else the nearest ancestor's sibling.
        while (ok && node && !node.next_sibling()) {
            node = node.parent();
            if (!node || node.type() == pugi::node_document) {
                node = pugi::xml_node();
                break;
            }
            ok = builder.end(elementOf(std::string_view(node.name())));
        }
        if (node)
            node = node.next_sibling();
    }
    return ok ? builder.take() : QVariant();
}

QVariant withQt(const QByteArray& data)
{
    QXmlStreamReader reader(data);
    TreeBuilder builder;
    bool ok = true;
    while (ok && !reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartElement:
            ok = builder.start(elementOf(reader.name()));
            break;
        case QXmlStreamReader::EndElement:
            ok = builder.end(elementOf(reader.name()));
            break;
        case QXmlStreamReader::Characters:
            builder.text(reader.text());
            break;
        default:
            break;
        }
    }
    return ok && !reader.hasError() ? builder.take() : QVariant();
}

// ---- measuring

long peakKilobytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// A hash of the whole tree, the same for equal trees in every process.
void fingerprint(const QVariant& value, size_t* hash)
{
    const auto mix = [hash](size_t h) {
        *hash = (*hash ^ h) * 1099511628211ULL;
    };
    mix(static_cast<size_t>(value.typeId()));
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
            mix(qHash(it.key(), 0));
            fingerprint(it.value(), hash);
        }
        break;
    }
    case QMetaType::QVariantList:
        for (const QVariant& item : value.toList())
            fingerprint(item, hash);
        break;
    case QMetaType::QString:
        mix(qHash(value.toString(), 0));
        break;
    case QMetaType::QDateTime:
        mix(static_cast<size_t>(value.toDateTime().toMSecsSinceEpoch()));
        break;
    case QMetaType::QByteArray:
        mix(qHash(value.toByteArray(), 0));
        break;
    case QMetaType::Double:
        mix(qHash(value.toDouble(), 0));
        break;
    default:
        mix(static_cast<size_t>(value.toLongLong()));
        break;
    }
}

} // namespace

int main(int argc, char** argv)
{
    // The log goes to the test locations, not the user's.
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s FILE PARSER\n", argv[0]);
        return 2;
    }
    QFile file(QString::fromLocal8Bit(argv[1]));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", argv[1]);
        return 1;
    }
    const QByteArray data = file.readAll();
    const std::string parser = argv[2];
    if (data.size() > std::numeric_limits<int>::max()) {
        std::fprintf(stderr, "file too large\n");
        return 1;
    }

    const long before = peakKilobytes();
    QElapsedTimer timer;
    timer.start();
    QVariant tree;
    qint64 count = -1; // tracks, where no tree of ours is made
    if (parser == "none") {
        count = 0;
    } else if (parser == "libplist") {
        QString error;
        tree = SystemPlistParser::parseWithLibplist(data, &error);
    } else if (parser == "libplist-parse") {
        plist_t root = nullptr;
        plist_from_xml(data.constData(), static_cast<uint32_t>(data.size()), &root);
        plist_t tracks = root ? plist_dict_get_item(root, "Tracks") : nullptr;
        count = tracks ? static_cast<qint64>(plist_dict_get_size(tracks)) : -1;
        plist_free(root);
    } else if (parser == "shape-check") {
        count = PlistShapeCheck::check(data, SystemPlistParser::kMaxDepth).verdict ==
                        PlistShapeCheck::Verdict::Fine
                    ? 0
                    : -1;
    } else if (parser == "expat") {
        tree = withExpat(data);
    } else if (parser == "libxml2-sax") {
        tree = withLibxml2Sax(data);
    } else if (parser == "libxml2-reader") {
        tree = withLibxml2Reader(data);
    } else if (parser == "pugixml") {
        tree = withPugixml(data);
    } else if (parser == "qt") {
        tree = withQt(data);
    } else if (parser == "manual") {
        tree = ManualPlistParser::parse(data).root;
    } else if (parser == "program") {
        tree = PropertyListReader::mutablePropertyListFromData(data, true);
    } else {
        std::fprintf(stderr, "unknown parser %s\n", parser.c_str());
        return 2;
    }
    const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;
    const long after = peakKilobytes();

    size_t hash = 14695981039346656037ULL;
    if (tree.isValid()) {
        fingerprint(tree, &hash);
        count = tree.toMap().value(QStringLiteral("Tracks")).toMap().size();
    }
    std::printf("parser=%s seconds=%.3f peakMB=%.1f growthMB=%.1f tracks=%lld fingerprint=%016zx\n",
                parser.c_str(), seconds, static_cast<double>(after) / 1024.0,
                static_cast<double>(after - before) / 1024.0, static_cast<long long>(count),
                tree.isValid() ? hash : size_t(0));
    return count < 0 ? 1 : 0;
}
