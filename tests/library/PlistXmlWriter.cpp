#include "PlistXmlWriter.h"

#include <QDataStream>
#include <QDateTime>
#include <QIODevice>

#include <vector>

namespace {

class Writer
{
public:
    Writer(std::mt19937& random, PlistXmlWriter::Forms forms)
        : mRandom(random), mAny(forms == PlistXmlWriter::Forms::Any)
    {}

    QByteArray document()
    {
        QByteArray out;
        if (chance(70))
            out += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
        if (chance(60))
            out += "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                   "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";
        const bool wrapped = !mAny || chance(80);
        if (wrapped)
            out += chance(50) ? "<plist version=\"1.0\">" : "<plist>";
        // Blanks before the first tag are left to libplist on purpose.
        out += (out.isEmpty() ? QByteArray() : gap()) + container(0, chance(70)) + gap();
        out += wrapped ? "</plist>\n" : "\n";
        return out;
    }

private:
    int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(mRandom); }
    bool chance(int percent) { return pick(100) < percent; }

    QByteArray gap()
    {
        static const char* const gaps[] = {"", "\n", "\r\n", "\t", "  ", "\n\t\t"};
        QByteArray gap = gaps[pick(6)];
        if (mAny && chance(5))
            gap += "<!-- between -->";
        return gap;
    }

    QByteArray text(int pieces)
    {
        // The last one only where our own reader is not compared: it keeps
        // references beyond 16 bits as they stand.
        static const QList<QByteArray> parts =
            QByteArray(
                "Nadia| |Orvel|\t|\r\n|\n|caf\xc3\xa9|\xe2\x99\xaa|\xf0\x9f\x8e\xb5|&amp;|&lt;|&gt;|&quot;|"
                "&apos;|&#233;|&#x263A;|\"|'|>|0|  x  |&#x1F3B5;")
                .split('|');
        QByteArray out;
        for (int i = 0; i < pieces; ++i) {
            out += parts[pick(static_cast<int>(parts.size()) - (mAny ? 0 : 1))];
            if (mAny && chance(8))
                out += "<!-- inside -->";
        }
        return out;
    }

    QByteArray leaf(const char* tag, const QByteArray& content)
    {
        return QByteArray("<") + tag + (mAny && chance(5) ? " " : "") + '>' + content + "</" + tag +
               (mAny && chance(5) ? "\n" : "") + '>';
    }

    QByteArray integer()
    {
        switch (pick(4)) {
        case 0:
            return QByteArray::number(pick(2001) - 1000);
        case 1:
            return QByteArray::number(static_cast<qint64>(std::uniform_int_distribution<qint64>()(mRandom)));
        case 2:
            return QByteArray::number(-static_cast<qint64>(pick(1 << 30)) * 16);
        default:
            return "2147483648";
        }
    }

    QByteArray date()
    {
        if (mAny && chance(10)) {
            static const char* const odd[] = {"2024-2-9T3:04:5Z", "2025-02-30T00:00:00Z",
                                              "1900-01-01T00:00:00Z", "yesterday", " 2024-02-29T13:45:07Z"};
            return odd[pick(std::size(odd))];
        }
        // 1950 to 2060, or to 2070 where libplist alone is compared: it
        // counts seconds from 2001 in 32 bits, which wrap early in 2069.
        const qint64 span = mAny ? 3786912000LL : 3471292800LL;
        const qint64 seconds = -631152000LL + std::uniform_int_distribution<qint64>(0, span)(mRandom);
        return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC).toString(Qt::ISODate).toLatin1();
    }

    QByteArray data()
    {
        QByteArray bytes;
        const int length = pick(40);
        for (int i = 0; i < length; ++i)
            bytes += static_cast<char>(pick(256));
        QByteArray base64 = bytes.toBase64();
        // Lines as writers wrap them.
        for (qsizetype at = 16; at < base64.size(); at += 18)
            base64.insert(at, "\n\t");
        return base64;
    }

    QByteArray value(int depth)
    {
        if (depth < 4 && chance(25))
            return container(depth + 1, chance(50));
        switch (pick(7)) {
        case 0:
            if (mAny && chance(10))
                return "<string/>";
            return leaf("string", text(pick(5)));
        case 1:
            return leaf("integer", integer());
        case 2: {
            static const char* const reals[] = {"1.5", "-0", "1e300", "0.1", "3.14159265358979", "-2.5e-7"};
            return leaf("real", reals[pick(std::size(reals))]);
        }
        case 3:
            return chance(50) ? "<true/>" : "<false/>";
        case 4:
            return leaf("date", date());
        case 5:
            return leaf("data", data());
        default:
            return leaf("string", text(1 + pick(3)));
        }
    }

    QByteArray container(int depth, bool dict)
    {
        const int count = pick(6);
        const char* tag = dict ? "dict" : "array";
        if (count == 0 && mAny && chance(50))
            return QByteArray("<") + tag + "/>";
        QByteArray out = QByteArray("<") + tag + (mAny && chance(5) ? " " : "") + '>';
        // The last one, empty, only where our own reader is not compared:
        // it attaches nothing under an empty key. There are more keys than
        // a dictionary takes.
        static const char* const keys[] = {"Name", "Track ID",        "A &amp; B", "Caf\xc3\xa9",
                                           "Kind", "Sort &#x41;lbum", " spaced ",  ""};
        // Keys repeat only where our own reader is not compared: it keeps an
        // earlier value when the later one is of a kind it drops.
        std::vector<const char*> unused(std::begin(keys), std::end(keys) - 1);
        for (int i = 0; i < count; ++i) {
            out += gap();
            if (dict && mAny) {
                out += leaf("key", keys[pick(static_cast<int>(std::size(keys)))]) + gap();
            } else if (dict) {
                const size_t at = static_cast<size_t>(pick(static_cast<int>(unused.size())));
                out += leaf("key", unused[at]) + gap();
                unused.erase(unused.begin() + static_cast<std::ptrdiff_t>(at));
            }
            out += value(depth);
        }
        return out + gap() + "</" + tag + '>';
    }

    std::mt19937& mRandom;
    bool mAny;
};

} // namespace

QByteArray PlistXmlWriter::document(std::mt19937& random, Forms forms)
{
    return Writer(random, forms).document();
}

bool PlistXmlWriter::sameTree(const QVariant& a, const QVariant& b)
{
    // The stream writes each value's type and every bit of it.
    const auto bytesOf = [](const QVariant& tree) {
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << tree;
        return bytes;
    };
    return bytesOf(a) == bytesOf(b);
}

QVariant PlistXmlWriter::asManualReaderSees(const QVariant& tree)
{
    const auto kept = [](const QVariant& value) {
        const int type = value.typeId();
        return type != QMetaType::Double && type != QMetaType::QByteArray &&
               !(type == QMetaType::QString && value.toString().isEmpty());
    };
    switch (tree.typeId()) {
    case QMetaType::QVariantMap: {
        QVariantMap map;
        const QVariantMap source = tree.toMap();
        for (auto it = source.constBegin(); it != source.constEnd(); ++it) {
            if (kept(it.value()))
                map.insert(it.key(), asManualReaderSees(it.value()));
        }
        return map;
    }
    case QMetaType::QVariantList: {
        QVariantList list;
        for (const QVariant& item : tree.toList()) {
            if (kept(item))
                list.append(asManualReaderSees(item));
        }
        return list;
    }
    case QMetaType::LongLong:
        return static_cast<int>(static_cast<quint32>(tree.toLongLong()));
    default:
        return tree;
    }
}
