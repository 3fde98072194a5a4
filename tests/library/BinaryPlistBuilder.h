#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

// Binary property lists put together object by object, for the shapes a
// writer never makes: containers nested hundreds of thousands deep, objects
// shared by many references, loops and counts that run past the file.
// Offsets and references take four bytes each.
class BinaryPlistBuilder
{
public:
    // Each answers the new object's index.
    int array(const QList<int>& items);
    int dict(const QList<QPair<int, int>>& keysAndValues);
    int string(const QByteArray& ascii);
    // An object of exactly these bytes (marker included).
    int raw(const QByteArray& bytes);
    // An array claiming `count` items of which none follow.
    int arrayClaiming(quint32 count) { return raw(header(0xA, count)); }

    // A chain of `depth` arrays, each holding the next (the last is empty);
    // answers the outermost.
    int nestedArrays(int depth);

    QByteArray build(int top) const;

private:
    static QByteArray header(int type, quint32 count);

    QList<QByteArray> mObjects;
};
