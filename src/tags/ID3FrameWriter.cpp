#include "ID3FrameWriter.h"

#include "ID3TextCodec.h"
#include "MP3InfoTag.h"

#include "support/WMLog.h"

namespace {

constexpr quint32 kMaxSynchSafe = (1u << 28) - 1;
constexpr quint32 kMaxUInt24 = (1u << 24) - 1;

void putUInt24(QByteArray& out, qsizetype at, quint32 value)
{
    out[at] = static_cast<char>((value >> 16) & 0xff);
    out[at + 1] = static_cast<char>((value >> 8) & 0xff);
    out[at + 2] = static_cast<char>(value & 0xff);
}

void putUInt32(QByteArray& out, qsizetype at, quint32 value, bool synchSafe)
{
    if (synchSafe)
        value = ((value & 0x0fe00000u) << 3) | ((value & 0x001fc000u) << 2) | ((value & 0x3f80u) << 1) |
                (value & 0x7fu);
    out[at] = static_cast<char>((value >> 24) & 0xff);
    out[at + 1] = static_cast<char>((value >> 16) & 0xff);
    out[at + 2] = static_cast<char>((value >> 8) & 0xff);
    out[at + 3] = static_cast<char>(value & 0xff);
}

// The three language bytes of a text block: "eng" when absent, zeros when
// the stored language is not three characters long.
QByteArray languageBytes(const QVariantMap& block)
{
    const QVariant lang = block.value(QStringLiteral("lang"));
    if (!lang.isValid())
        return QByteArrayLiteral("eng");
    const QString text = lang.toString();
    if (text.size() != 3)
        return QByteArray(3, '\0');
    return ID3TextCodec::latin1Lossy(text);
}

// Descriptor and text of a text block, both ISO-8859-1 when both fit, else
// both UTF-16 with a byte-order mark.
struct EncodedBlock
{
    QByteArray language, descriptor, text;
    int encoding = 0;
};

EncodedBlock encodeBlock(const QVariantMap& block)
{
    EncodedBlock encoded;
    encoded.language = languageBytes(block);
    const QString desc = block.value(QStringLiteral("desc")).toString();
    const QString text = block.value(QStringLiteral("text")).toString();
    encoded.encoding = ID3TextCodec::writingEncodingFor({desc, text});
    encoded.descriptor = ID3TextCodec::encodedString(desc, encoded.encoding);
    encoded.text = ID3TextCodec::encodedString(text, encoded.encoding);
    return encoded;
}

QString className(const ID3FrameObject& object)
{
    switch (object.index()) {
    case 0:
        return QStringLiteral("QStringList");
    case 1:
        return QStringLiteral("QVariantMap");
    case 2:
        return QStringLiteral("ID3Image");
    default:
        return QStringLiteral("QByteArray");
    }
}

bool finishHeader(QByteArray& out, int major)
{
    const qsizetype body = out.size() - 10;
    if (body < 0 || body > kMaxSynchSafe)
        return false;
    out[0] = 'I';
    out[1] = 'D';
    out[2] = '3';
    out[3] = static_cast<char>(major);
    out[4] = 0;
    out[5] = 0;
    putUInt32(out, 6, static_cast<quint32>(body), true);
    return true;
}

} // namespace

QByteArray ID3FrameWriter::dataForID3v22(const MP3InfoTag& tag)
{
    QByteArray out(10, '\0');
    const QStringList& ids = tag.frameIDs();
    const QList<ID3FrameObject>& objects = tag.frameObjects();
    for (qsizetype i = 0; i < ids.size(); ++i) {
        const QString& id = ids.at(i);
        if (id.size() != 3)
            continue;
        const ID3FrameObject& object = objects.at(i);
        const qsizetype start = out.size();
        QByteArray body;
        if (const auto* block = std::get_if<QVariantMap>(&object); block && id == QLatin1String("ULT")) {
            const EncodedBlock e = encodeBlock(*block);
            body += static_cast<char>(e.encoding);
            body += e.language + e.descriptor + ID3TextCodec::terminator(e.encoding);
            body += e.text;
        } else if (const auto* strings = std::get_if<QStringList>(&object)) {
            const QString value = strings->isEmpty() ? QString() : strings->first();
            const int encoding = ID3TextCodec::writingEncodingFor({value});
            body += static_cast<char>(encoding);
            body += ID3TextCodec::encodedString(value, encoding);
        } else if (const auto* raw = std::get_if<QByteArray>(&object)) {
            body = *raw;
        } else {
            WMLog("id3v22 frame '%@' of class %@!", id, className(object));
            continue;
        }
        if (body.size() > kMaxUInt24)
            return QByteArray();
        out += id.toLatin1();
        out += QByteArray(3, '\0');
        putUInt24(out, start + 3, static_cast<quint32>(body.size()));
        out += body;
    }
    for (const ID3Image& picture : tag.images()) {
        const QString suffix = picture.filenameSuffix();
        if (picture.imageData().isEmpty() || suffix.size() != 3) {
            WMLog("%@/%@ dataForID3v22 cannot include %@", tag.artist(), tag.title(), picture);
            continue;
        }
        const qsizetype size = picture.imageData().size() + 6;
        if (size > kMaxUInt24)
            return QByteArray();
        const qsizetype start = out.size();
        out += "PIC";
        out += QByteArray(3, '\0');
        putUInt24(out, start + 3, static_cast<quint32>(size));
        out += '\0';
        out += ID3TextCodec::latin1Lossy(suffix);
        out += '\0'; // picture type
        out += '\0'; // empty description
        out += picture.imageData();
    }
    if (!finishHeader(out, 2))
        return QByteArray();
    return out;
}

QByteArray ID3FrameWriter::dataForID3v2x(const MP3InfoTag& tag, bool v24, bool synchSafeSizes)
{
    const bool synchSafe = v24 && synchSafeSizes;
    const quint32 maxFrameSize = synchSafe ? kMaxSynchSafe : 0xffffffffu;
    QByteArray out(10, '\0');
    const QStringList& ids = tag.frameIDs();
    const QList<ID3FrameObject>& objects = tag.frameObjects();
    const auto beginFrame = [&out](const QString& id) {
        out += id.toLatin1();
        out += QByteArray(6, '\0'); // size, then two flag bytes
    };
    const auto endFrame = [&out, synchSafe, maxFrameSize](qsizetype start) {
        const qsizetype size = out.size() - start - 10;
        if (size < 0 || static_cast<quint64>(size) > maxFrameSize)
            return false;
        putUInt32(out, start + 4, static_cast<quint32>(size), synchSafe);
        return true;
    };

    for (qsizetype i = 0; i < ids.size(); ++i) {
        QString id = ids.at(i);
        if (id.size() != 4)
            continue;
        if (!v24 && id == QLatin1String("TDRC"))
            id = QStringLiteral("TYER");
        const ID3FrameObject& object = objects.at(i);
        const qsizetype start = out.size();
        if (const auto* block = std::get_if<QVariantMap>(&object); block && id == QLatin1String("USLT")) {
            const EncodedBlock e = encodeBlock(*block);
            beginFrame(id);
            out += static_cast<char>(e.encoding);
            out += e.language + e.descriptor + ID3TextCodec::terminator(e.encoding);
            out += e.text;
        } else if (const auto* strings = std::get_if<QStringList>(&object)) {
            // Unicode text is UTF-16 with a byte-order mark under encoding 1
            // in both versions. Tags of earlier versions of the program say
            // 2 before the mark; the reader takes both.
            const int encoding = ID3TextCodec::writingEncodingFor(*strings);
            beginFrame(id);
            out += static_cast<char>(encoding);
            for (const QString& s : *strings)
                out += ID3TextCodec::encodedString(s, encoding) + ID3TextCodec::terminator(encoding);
        } else if (const auto* raw = std::get_if<QByteArray>(&object)) {
            if (raw->size() < 2)
                continue;
            out += id.toLatin1();
            out += QByteArray(4, '\0');
            out += *raw;
        } else {
            WMLog("id3v24 frame '%@' of class %@!", id, className(object));
            continue;
        }
        if (!endFrame(start))
            return QByteArray();
    }
    for (const ID3Image& picture : tag.images()) {
        const qsizetype start = out.size();
        const QString description = picture.pictureDescription();
        const int encoding = ID3TextCodec::writingEncodingFor({description});
        beginFrame(QStringLiteral("APIC"));
        out += static_cast<char>(encoding);
        out += picture.mimeFormat().toUtf8();
        out += '\0';
        out += '\0'; // picture type
        out += ID3TextCodec::encodedString(description, encoding) + ID3TextCodec::terminator(encoding);
        out += picture.imageData();
        if (!endFrame(start))
            return QByteArray();
    }
    if (!finishHeader(out, v24 ? 4 : 3))
        return QByteArray();
    return out;
}
