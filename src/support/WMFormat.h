#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <concepts>
#include <initializer_list>
#include <string>
#include <string_view>

// One argument of a printf-like format. Numbers keep their kind so that %d,
// %u, %x and %f print as in C; %@ prints any argument as text: strings as
// they are, variants, byte buffers and anything with a description().
class WMFormatArg
{
public:
    enum class Kind
    {
        Signed = 0,
        Unsigned = 1,
        Double = 2,
        Text = 3,
        Pointer = 4
    };

    template <std::signed_integral T>
    WMFormatArg(T v) : mKind(Kind::Signed), mSigned(static_cast<long long>(v))
    {}
    template <std::unsigned_integral T>
    requires(!std::same_as<T, bool>) WMFormatArg(T v)
        : mKind(Kind::Unsigned), mUnsigned(static_cast<unsigned long long>(v))
    {}
    WMFormatArg(bool v) : mKind(Kind::Signed), mSigned(v ? 1 : 0) {}
    WMFormatArg(double v) : mKind(Kind::Double), mDouble(v) {}
    WMFormatArg(float v) : mKind(Kind::Double), mDouble(static_cast<double>(v)) {}
    WMFormatArg(const QString& v) : mKind(Kind::Text), mText(v) {}
    WMFormatArg(QStringView v) : mKind(Kind::Text), mText(v.toString()) {}
    WMFormatArg(QLatin1StringView v) : mKind(Kind::Text), mText(QString(v)) {}
    WMFormatArg(const char* v) : mKind(Kind::Text), mText(v ? QString::fromUtf8(v) : QStringLiteral("(null)"))
    {}
    WMFormatArg(const std::string& v) : mKind(Kind::Text), mText(QString::fromStdString(v)) {}
    WMFormatArg(std::string_view v)
        : mKind(Kind::Text), mText(QString::fromUtf8(v.data(), static_cast<qsizetype>(v.size())))
    {}
    WMFormatArg(const QByteArray& v) : mKind(Kind::Text), mText(describe(v)) {}
    WMFormatArg(const QVariant& v) : mKind(Kind::Text), mText(describe(v)) {}
    WMFormatArg(const void* v) : mKind(Kind::Pointer), mPointer(v) {}
    template <typename T>
    requires requires(const T& t)
    {
        {
            t.description()
            } -> std::convertible_to<QString>;
    }
    WMFormatArg(const T& v) : mKind(Kind::Text), mText(v.description()) {}
    template <typename T>
    requires requires(const T& t)
    {
        {
            t.description()
            } -> std::convertible_to<QString>;
    }
    WMFormatArg(const T* v) : mKind(Kind::Text), mText(v ? v->description() : QStringLiteral("(null)")) {}

    Kind kind() const { return mKind; }
    long long asSigned() const;
    unsigned long long asUnsigned() const;
    double asDouble() const;
    QString asText() const;
    const void* asPointer() const { return mPointer; }

    // A readable text for any variant: property-list style for containers.
    static QString describe(const QVariant& value);
    static QString describe(const QByteArray& bytes);

private:
    Kind mKind;
    long long mSigned = 0;
    unsigned long long mUnsigned = 0;
    double mDouble = 0.0;
    QString mText;
    const void* mPointer = nullptr;
};

// printf-like formatting without locale. Missing arguments print nothing;
// surplus arguments are ignored; a malformed conversion is copied as it is.
class WMFormat
{
public:
    static QString list(const char* format, std::initializer_list<WMFormatArg> args);

    template <typename... Args> static QString string(const char* format, const Args&... args)
    {
        return list(format, {WMFormatArg(args)...});
    }
};
