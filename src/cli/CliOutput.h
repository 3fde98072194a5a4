#pragma once

#include <QJsonObject>
#include <QString>

#include <cstdio>

// Writing to the terminal: UTF-8 text and compact or indented JSON.
class CliOutput
{
public:
    static void print(std::FILE* to, const QString& text);
    static void printJson(std::FILE* to, const QJsonObject& object);
};
