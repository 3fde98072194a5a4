#pragma once

#include <QString>

// Packs one file into a zip archive that holds it under its own name.
class LogArchiver
{
public:
    // Answers whether the archive was written.
    static bool packFile(const QString& filePath, const QString& archivePath);
};
