#include "LatinFolding.h"

#include "support/WMLog.h"

#include <unicode/translit.h>
#include <unicode/unistr.h>
#include <unicode/utypes.h>

#include <array>
#include <memory>
#include <vector>

namespace {

icu::Transliterator* transliterator()
{
    thread_local std::unique_ptr<icu::Transliterator> instance;
    thread_local bool tried = false;
    if (!tried) {
        tried = true;
        UErrorCode status = U_ZERO_ERROR;
        const icu::UnicodeString id =
            icu::UnicodeString::fromUTF8("Any-Latin; NFD; [:Mn:] Remove; NFC; Latin-ASCII");
        instance.reset(icu::Transliterator::createInstance(id, UTRANS_FORWARD, status));
        if (U_FAILURE(status)) {
            WMLog("Couldn't create the transliterator: %@", u_errorName(status));
            instance.reset();
        }
    }
    return instance.get();
}

// The ranges the table covers: Latin-1 Supplement and Latin Extended-A/B,
// combining diacritical marks, Latin Extended Additional, general
// punctuation.
struct Range
{
    char16_t first;
    char16_t last;
};
constexpr Range kRanges[] = {{0x0080, 0x024F}, {0x0300, 0x036F}, {0x1E00, 0x1EFF}, {0x2000, 0x206F}};

struct Table
{
    // Per covered character: its transliteration, or a null string when the
    // character must go through the transliterator.
    std::vector<QString> entries[std::size(kRanges)];

    const QString* lookup(char16_t c) const
    {
        for (size_t r = 0; r < std::size(kRanges); ++r) {
            if (c >= kRanges[r].first && c <= kRanges[r].last) {
                const QString& entry = entries[r][c - kRanges[r].first];
                return entry.isNull() ? nullptr : &entry;
            }
        }
        return nullptr;
    }

    Table()
    {
        // Neighbours against which a character's answer must not change.
        static const char16_t neighbours[] = {u'x', u'X', u' ', u'1', 0x00E9, 0x00C9};
        for (size_t r = 0; r < std::size(kRanges); ++r) {
            entries[r].resize(size_t(kRanges[r].last - kRanges[r].first + 1));
            for (char16_t c = kRanges[r].first; c <= kRanges[r].last; ++c) {
                const QChar ch(c);
                if (ch.isSurrogate() || ch.category() == QChar::Other_NotAssigned)
                    continue;
                const QString alone = LatinFolding::transliterated(QStringView(&ch, 1));
                if (alone.isNull())
                    return;
                bool independent = true;
                for (char16_t n : neighbours) {
                    const QChar nc(n);
                    const QString nAlone = LatinFolding::transliterated(QStringView(&nc, 1));
                    const QString before = QString(nc) + ch;
                    const QString after = QString(ch) + nc;
                    if (LatinFolding::transliterated(before) != nAlone + alone ||
                        LatinFolding::transliterated(after) != alone + nAlone) {
                        independent = false;
                        break;
                    }
                }
                if (independent)
                    entries[r][c - kRanges[r].first] = alone.isEmpty() ? QString(QLatin1String("")) : alone;
            }
        }
    }
};

const Table& table()
{
    static const Table instance;
    return instance;
}

} // namespace

QString LatinFolding::transliterated(QStringView text)
{
    icu::Transliterator* t = transliterator();
    if (!t)
        return QString();
    icu::UnicodeString buffer(reinterpret_cast<const UChar*>(text.utf16()),
                              static_cast<int32_t>(text.size()));
    t->transliterate(buffer);
    QString result(reinterpret_cast<const QChar*>(buffer.getBuffer()), buffer.length());
    if (result.isNull())
        result = QString(QLatin1String(""));
    return result;
}

std::optional<QString> LatinFolding::transliteratedByTable(QStringView text)
{
    const Table& t = table();
    QString result;
    result.reserve(text.size() + 8);
    for (QChar c : text) {
        if (c.unicode() < 0x80) {
            result.append(c);
            continue;
        }
        const QString* entry = t.lookup(c.unicode());
        if (!entry)
            return std::nullopt;
        result.append(*entry);
    }
    return result;
}
