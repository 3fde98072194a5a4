#pragma once

#include <QByteArray>
#include <QtGlobal>

// One replacement in a rewrite: the bytes [offset, offset + length) of the
// ORIGINAL file are replaced by `bytes` (of any length).
struct FileEdit
{
    qint64 offset = 0;
    qint64 length = 0;
    QByteArray bytes;
};
