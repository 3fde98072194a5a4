#include "ID3FrameIDs.h"

namespace {

QStringList fromLatin1(std::initializer_list<const char*> ids)
{
    QStringList list;
    list.reserve(static_cast<qsizetype>(ids.size()));
    for (const char* id : ids)
        list.append(QString::fromLatin1(id));
    return list;
}

} // namespace

const QStringList& ID3FrameIDs::internalRecognizedFrameIDs()
{
    static const QStringList ids =
        fromLatin1({"PIC",  "APIC", "TCP",  "TCMP", "TT2",  "TIT2", "TP1",  "TPE1", "TAL",  "TALB", "TCO",
                    "TCON", "TRK",  "TRCK", "TBP",  "TBPM", "ULT",  "USLT", "TYE",  "TYER", "TDRC"});
    return ids;
}

const QStringList& ID3FrameIDs::iTunesRecognizedFrameIDs()
{
    static const QStringList ids =
        internalRecognizedFrameIDs() +
        fromLatin1({"COM", "COMM", "RVA", "RVAD", "TCM", "TCOM", "TP2", "TPE2", "TPA", "TPOS",
                    "TPB", "TPUB", "TS2", "TSO2", "TSA", "TSOA", "TSC", "TSOC", "TSP", "TSOP",
                    "TSS", "TSSE", "TST", "TSOT", "TT1", "TIT1", "TT3", "TIT3"});
    return ids;
}

const QStringList& ID3FrameIDs::dangerousFrameIDs()
{
    static const QStringList ids;
    return ids;
}

QString ID3FrameIDs::frameIDUpgrade(const QString& frameID)
{
    for (const QStringList* list : {&internalRecognizedFrameIDs(), &iTunesRecognizedFrameIDs()}) {
        const qsizetype i = list->indexOf(frameID);
        if (i >= 0 && i + 1 < list->size())
            return list->at(i + 1);
        if (i >= 0)
            break;
    }
    return frameID;
}
