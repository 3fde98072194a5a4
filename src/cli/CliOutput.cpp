#include "CliOutput.h"

#include <QJsonDocument>

bool CliOutput::write(std::FILE* to, const QByteArray& bytes)
{
    if (hasFailed(to))
        return false;
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), to);
    std::fflush(to);
    return !hasFailed(to);
}

bool CliOutput::print(std::FILE* to, const QString& text)
{
    return write(to, text.toUtf8());
}

bool CliOutput::print(std::FILE* to, const QByteArray& utf8)
{
    return write(to, utf8);
}

bool CliOutput::printJson(std::FILE* to, const QJsonObject& object)
{
    return write(to, QJsonDocument(object).toJson(QJsonDocument::Indented));
}

bool CliOutput::printJsonLine(std::FILE* to, const QJsonObject& object)
{
    return write(to, QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
}
