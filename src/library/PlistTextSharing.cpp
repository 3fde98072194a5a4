#include "PlistTextSharing.h"

namespace {

constexpr size_t kMaxKeys = 4096;
constexpr qsizetype kMaxSharedKeyLength = 128;
constexpr qsizetype kMaxSharedValueLength = 128;
constexpr qsizetype kMaxSharedValues = 1 << 18;
// A key whose values repeat less than one time in four after this many is
// not shared any more.
constexpr qint64 kSharingTrial = 256;

} // namespace

int PlistTextSharing::keyIndex(const char* key, qsizetype length)
{
    if (length > kMaxSharedKeyLength)
        return -1;
    const auto found = mKeyIndex.constFind(QByteArray::fromRawData(key, length));
    if (found != mKeyIndex.constEnd())
        return found.value();
    if (mKeys.size() >= kMaxKeys)
        return -1;
    KeyEntry entry;
    entry.text = QString::fromUtf8(key, length);
    mKeys.push_back(std::move(entry));
    const int index = static_cast<int>(mKeys.size() - 1);
    mKeyIndex.insert(QByteArray(key, length), index);
    return index;
}

QString PlistTextSharing::keyText(int index, const char* key, qsizetype length) const
{
    return index >= 0 ? mKeys[static_cast<size_t>(index)].text : QString::fromUtf8(key, length);
}

QString PlistTextSharing::value(const char* text, qsizetype length, int keyIndex)
{
    if (keyIndex < 0 || length > kMaxSharedValueLength)
        return QString::fromUtf8(text, length);
    KeyEntry& entry = mKeys[static_cast<size_t>(keyIndex)];
    if (!entry.sharesValues)
        return QString::fromUtf8(text, length);
    ++entry.lookups;
    const auto found = entry.values.constFind(QByteArray::fromRawData(text, length));
    if (found != entry.values.constEnd()) {
        ++entry.hits;
        return found.value();
    }
    QString value = QString::fromUtf8(text, length);
    if (entry.lookups >= kSharingTrial && entry.hits * 4 < entry.lookups) {
        entry.sharesValues = false;
        mSharedValues -= entry.values.size();
        entry.values = {};
    } else if (mSharedValues < kMaxSharedValues) {
        entry.values.insert(QByteArray(text, length), value);
        ++mSharedValues;
    }
    return value;
}
