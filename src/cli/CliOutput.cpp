#include "CliOutput.h"

#include <QJsonDocument>

void CliOutput::print(std::FILE* to, const QString& text)
{
    print(to, text.toUtf8());
}

void CliOutput::print(std::FILE* to, const QByteArray& utf8)
{
    std::fwrite(utf8.constData(), 1, static_cast<size_t>(utf8.size()), to);
    std::fflush(to);
}

void CliOutput::printJson(std::FILE* to, const QJsonObject& object)
{
    const QByteArray bytes = QJsonDocument(object).toJson(QJsonDocument::Indented);
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), to);
    std::fflush(to);
}
