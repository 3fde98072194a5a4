#include "PhoneticKey.h"

namespace {

bool isVowel(char16_t c)
{
    return c == u'a' || c == u'e' || c == u'i' || c == u'o' || c == u'u';
}

bool isVowelOrY(char16_t c)
{
    return isVowel(c) || c == u'y';
}

bool isIEY(char16_t c)
{
    return c == u'i' || c == u'e' || c == u'y';
}

} // namespace

void PhoneticKey::appendKey(const char16_t* w, qsizetype n, QString& key)
{
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t c = w[i];
        const bool has2 = i < n - 1;              // cur2 = w[i..i+1]
        const bool has3 = i < n - 2;              // cur3 = w[i..i+2]
        const bool has4 = i < n - 3;              // cur4 = w[i..i+3]
        const bool hasPrev = i >= 1 && i < n - 1; // prev2 = w[i-1..i], prev3 = w[i-1..i+1]
        const char16_t next = has2 ? w[i + 1] : 0;
        const char16_t next2 = has3 ? w[i + 2] : 0;
        const char16_t prev = hasPrev ? w[i - 1] : 0;
        switch (c) {
        case u'a':
        case u'e':
        case u'i':
        case u'o':
        case u'u':
            if (i == 0)
                key.append(QChar(c));
            break;
        case u'b':
            if (!(i == n - 1 && i >= 1 && w[i - 1] == u'm'))
                key.append(QLatin1Char('b'));
            break;
        case u'c': {
            char16_t out = u'k';
            if (has2 && isIEY(next))
                out = u's';
            if (has3 && next == u'i' && next2 == u'a')
                out = u'x';
            if (hasPrev && prev == u's' && isIEY(next))
                out = 0;
            if (out)
                key.append(QChar(out));
            break;
        }
        case u'd':
            key.append(has3 && next == u'g' && isIEY(next2) ? QLatin1Char('j') : QLatin1Char('t'));
            break;
        case u'g':
            if (has2 && next == u'h') {
                if (i != n - 2)
                    key.append(QLatin1Char('k'));
            } else if ((has3 && next == u'h' && isVowelOrY(next2)) || (has2 && next == u'n') ||
                       (has4 && next == u'n' && next2 == u'e' && w[i + 3] == u'd') ||
                       (hasPrev && prev == u'd' && isIEY(next))) {
                // silent
            } else if (has2 && isIEY(next)) {
                key.append(hasPrev && prev == u'g' ? QLatin1Char('k') : QLatin1Char('j'));
            } else if (has2 && next == u'g') {
                // silent
            } else {
                key.append(QLatin1Char('k'));
            }
            break;
        case u'h':
            if (hasPrev && isVowelOrY(prev) && !isVowelOrY(next)) {
                // between a vowel and a consonant
            } else if (hasPrev &&
                       (prev == u'c' || prev == u's' || prev == u'p' || prev == u't' || prev == u'g')) {
                // part of ch, sh, ph, th, gh
            } else {
                key.append(QLatin1Char('h'));
            }
            break;
        case u'k':
            if (!(hasPrev && prev == u'c'))
                key.append(QLatin1Char('k'));
            break;
        case u'p':
            key.append(has2 && next == u'h' ? QLatin1Char('f') : QLatin1Char('p'));
            break;
        case u'q':
            key.append(QLatin1Char('k'));
            break;
        case u's':
            if ((has2 && next == u'h') || (has3 && next == u'i' && (next2 == u'a' || next2 == u'o')))
                key.append(QLatin1Char('x'));
            else
                key.append(QLatin1Char('s'));
            break;
        case u't':
            if (has3 && next == u'i' && (next2 == u'a' || next2 == u'o'))
                key.append(QLatin1Char('x'));
            else if (has2 && next == u'h')
                key.append(QLatin1Char('0'));
            else
                key.append(QLatin1Char('t'));
            break;
        case u'v':
            key.append(QLatin1Char('f'));
            break;
        case u'w':
            if (!(has2 && !isVowelOrY(next)))
                key.append(QLatin1Char('w'));
            break;
        case u'x':
            key.append(QLatin1String("ks"));
            break;
        case u'z':
            key.append(QLatin1Char('s'));
            break;
        default: // y, f, j, l, m, n, r and everything outside a to z
            key.append(QChar(c));
            break;
        }
    }
}
