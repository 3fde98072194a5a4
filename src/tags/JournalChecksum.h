#pragma once

#include <QtEndian>
#include <QtGlobal>

// The checksum of the rewrite journals: 64 bits over four interleaved lanes
// of 64-bit words, fed in pieces of any size. Fast enough to vanish beside
// the copy it guards, and it changes when blocks are zeroed, stale or cut.
class JournalChecksum
{
public:
    void update(const char* data, qint64 length)
    {
        mLength += static_cast<quint64>(length);
        while (length > 0 && mPending > 0) {
            mBlock[mPending++] = *data++;
            --length;
            if (mPending == kBlock) {
                mix(mBlock);
                mPending = 0;
            }
        }
        for (; length >= kBlock; data += kBlock, length -= kBlock)
            mix(data);
        while (length-- > 0)
            mBlock[mPending++] = *data++;
    }
    quint64 value() const
    {
        quint64 h = mLength * kPrime;
        for (int i = 0; i < mPending; ++i)
            h = (h ^ static_cast<uchar>(mBlock[i])) * kPrime;
        for (quint64 lane : mLanes)
            h = (h ^ lane ^ (lane >> 29)) * kPrime;
        return h ^ (h >> 32);
    }

private:
    static constexpr int kBlock = 32;
    static constexpr quint64 kPrime = 0x9E3779B97F4A7C15ULL;
    void mix(const char* block)
    {
        for (int lane = 0; lane < 4; ++lane) {
            const quint64 word = qFromLittleEndian<quint64>(block + 8 * lane);
            mLanes[lane] = ((mLanes[lane] ^ word) * kPrime) ^ (mLanes[lane] >> 31);
        }
    }

    quint64 mLanes[4] = {1, 2, 3, 4};
    quint64 mLength = 0;
    char mBlock[kBlock] = {};
    int mPending = 0;
};
