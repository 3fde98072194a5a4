#include "WMFormat.h"

#include <QDateTime>
#include <QStringList>

#include <cstdio>

long long WMFormatArg::asSigned() const
{
    switch (mKind) {
    case Kind::Signed:
        return mSigned;
    case Kind::Unsigned:
        return static_cast<long long>(mUnsigned);
    case Kind::Double:
        return static_cast<long long>(mDouble);
    case Kind::Text:
        return mText.toLongLong();
    case Kind::Pointer:
        return static_cast<long long>(reinterpret_cast<quintptr>(mPointer));
    }
    return 0;
}

unsigned long long WMFormatArg::asUnsigned() const
{
    switch (mKind) {
    case Kind::Signed:
        return static_cast<unsigned long long>(mSigned);
    case Kind::Unsigned:
        return mUnsigned;
    case Kind::Double:
        return static_cast<unsigned long long>(mDouble);
    case Kind::Text:
        return mText.toULongLong();
    case Kind::Pointer:
        return reinterpret_cast<quintptr>(mPointer);
    }
    return 0;
}

double WMFormatArg::asDouble() const
{
    switch (mKind) {
    case Kind::Signed:
        return static_cast<double>(mSigned);
    case Kind::Unsigned:
        return static_cast<double>(mUnsigned);
    case Kind::Double:
        return mDouble;
    case Kind::Text:
        return mText.toDouble();
    case Kind::Pointer:
        return 0.0;
    }
    return 0.0;
}

QString WMFormatArg::asText() const
{
    switch (mKind) {
    case Kind::Signed:
        return QString::number(mSigned);
    case Kind::Unsigned:
        return QString::number(mUnsigned);
    case Kind::Double:
        return QString::number(mDouble, 'g', 17);
    case Kind::Text:
        return mText;
    case Kind::Pointer:
        return QStringLiteral("0x") + QString::number(reinterpret_cast<quintptr>(mPointer), 16);
    }
    return {};
}

QString WMFormatArg::describe(const QByteArray& bytes)
{
    // Short buffers in full, long ones by their head and length.
    constexpr qsizetype kShown = 64;
    QString text = QStringLiteral("<") + QString::fromLatin1(bytes.left(kShown).toHex(' '));
    if (bytes.size() > kShown)
        text += QStringLiteral(" ... (%1 bytes)").arg(bytes.size());
    return text + QStringLiteral(">");
}

QString WMFormatArg::describe(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return QStringLiteral("(null)");
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        QStringList parts;
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            parts << it.key() + QStringLiteral(" = ") + describe(it.value()) + QStringLiteral(";");
        return QStringLiteral("{") + parts.join(QLatin1Char(' ')) + QStringLiteral("}");
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const QVariantList list = value.toList();
        QStringList parts;
        for (const QVariant& item : list)
            parts << describe(item);
        return QStringLiteral("(") + parts.join(QStringLiteral(", ")) + QStringLiteral(")");
    }
    case QMetaType::QByteArray:
        return describe(value.toByteArray());
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(Qt::ISODate);
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    default:
        return value.toString();
    }
}

namespace {

bool isFlag(char c)
{
    return c == '-' || c == '+' || c == ' ' || c == '#' || c == '0' || c == '\'';
}

bool isLengthModifier(char c)
{
    return c == 'h' || c == 'l' || c == 'q' || c == 'z' || c == 'j' || c == 't' || c == 'L';
}

QString formatWith(const std::string& spec, long long v)
{
    char buf[128];
    std::snprintf(buf, sizeof buf, spec.c_str(), v);
    return QString::fromLatin1(buf);
}

QString formatWith(const std::string& spec, unsigned long long v)
{
    char buf[128];
    std::snprintf(buf, sizeof buf, spec.c_str(), v);
    return QString::fromLatin1(buf);
}

QString formatWith(const std::string& spec, double v)
{
    // Widths and precisions are bounded by the parser, so 512 bytes suffice
    // for anything but huge %f values, which snprintf truncates safely.
    char buf[512];
    std::snprintf(buf, sizeof buf, spec.c_str(), v);
    return QString::fromLatin1(buf);
}

QString pad(const QString& text, const std::string& flags, int width)
{
    if (width <= 0 || text.size() >= width)
        return text;
    const QString fill(width - text.size(), QLatin1Char(' '));
    return flags.find('-') != std::string::npos ? text + fill : fill + text;
}

} // namespace

QString WMFormat::list(const char* format, std::initializer_list<WMFormatArg> args)
{
    QString out;
    if (!format)
        return out;
    const WMFormatArg* next = args.begin();
    const WMFormatArg* end = args.end();
    const char* p = format;
    const char* literal = p;
    auto flushLiteral = [&](const char* upTo) {
        if (upTo > literal)
            out += QString::fromUtf8(literal, static_cast<qsizetype>(upTo - literal));
    };

    while (*p) {
        if (*p != '%') {
            ++p;
            continue;
        }
        flushLiteral(p);
        const char* start = p++;
        if (*p == '%') {
            out += QLatin1Char('%');
            literal = ++p;
            continue;
        }
        std::string flags;
        while (isFlag(*p) && flags.size() < 5)
            flags += *p++;
        int width = 0;
        while (*p >= '0' && *p <= '9' && width < 1000)
            width = width * 10 + (*p++ - '0');
        int precision = -1;
        if (*p == '.') {
            ++p;
            precision = 0;
            while (*p >= '0' && *p <= '9' && precision < 100)
                precision = precision * 10 + (*p++ - '0');
        }
        while (isLengthModifier(*p))
            ++p;
        const char conv = *p;
        if (!conv || width >= 1000 || precision >= 100) {
            literal = start; // copy the malformed conversion as it stands
            if (!conv)
                break;
            ++p;
            continue;
        }
        ++p;
        literal = p;

        const WMFormatArg* arg = next != end ? next++ : nullptr;
        if (!arg && conv != '@' &&
            std::string_view("diuxXofFeEgGcsSp").find(conv) == std::string_view::npos) {
            literal = start;
            continue;
        }
        if (!arg)
            continue;

        std::string spec(1, '%');
        spec.append(flags);
        if (width)
            spec.append(std::to_string(width));
        if (precision >= 0)
            spec.append(1, '.').append(std::to_string(precision));
        switch (conv) {
        case '@':
        case 's':
        case 'S': {
            QString text = arg->asText();
            if (precision >= 0 && conv != '@')
                text.truncate(precision);
            out += pad(text, flags, width);
            break;
        }
        case 'd':
        case 'i':
            out += formatWith(spec + "lld", arg->asSigned());
            break;
        case 'u':
        case 'x':
        case 'X':
        case 'o':
            out += formatWith(spec + "ll" + conv, arg->asUnsigned());
            break;
        case 'f':
        case 'F':
        case 'e':
        case 'E':
        case 'g':
        case 'G':
            out += formatWith(spec + conv, arg->asDouble());
            break;
        case 'c':
            out += pad(QString(QChar(static_cast<char16_t>(arg->asUnsigned() & 0xFFFF))), flags, width);
            break;
        case 'p':
            out += pad(WMFormatArg(arg->asPointer()).asText(), flags, width);
            break;
        default:
            // Unknown conversion: print the argument as text.
            out += arg->asText();
            break;
        }
    }
    flushLiteral(p);
    return out;
}
