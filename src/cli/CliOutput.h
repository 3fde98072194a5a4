#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <cstdio>

// Writing to the terminal: UTF-8 text and compact or indented JSON.
class CliOutput
{
public:
    static void print(std::FILE* to, const QString& text);
    // Text already in UTF-8.
    static void print(std::FILE* to, const QByteArray& utf8);
    static void printJson(std::FILE* to, const QJsonObject& object);
};
