#include "CliOutput.h"

#include <QJsonDocument>

void CliOutput::print(std::FILE* to, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), to);
    std::fflush(to);
}

void CliOutput::printJson(std::FILE* to, const QJsonObject& object)
{
    const QByteArray bytes = QJsonDocument(object).toJson(QJsonDocument::Indented);
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), to);
    std::fflush(to);
}
