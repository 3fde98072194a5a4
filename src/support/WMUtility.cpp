#include "WMUtility.h"

#include "ProcessSampler.h"

qint64 WMUtility::logActivityForProcess(const QString& processName, float seconds)
{
    return ProcessSampler::logActivityForProcess(processName, seconds);
}
