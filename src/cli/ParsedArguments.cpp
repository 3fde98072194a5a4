#include "ParsedArguments.h"

bool ParsedArguments::has(const QString& option) const
{
    for (const auto& [name, value] : mOptions) {
        if (name == option)
            return true;
    }
    return false;
}

QString ParsedArguments::value(const QString& option) const
{
    for (qsizetype i = mOptions.size() - 1; i >= 0; --i) {
        if (mOptions.at(i).first == option)
            return mOptions.at(i).second;
    }
    return QString();
}
