#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <stdexcept>
#include <vector>

// Our own exception: a name, a reason and a dictionary of user information,
// with the call stack recorded where it was made, so that a trace can be
// logged wherever it is finally caught. Copies keep the recorded stack and
// the serial number (they are the same exception).
class WMException : public std::runtime_error
{
public:
    WMException(const QString& name, const QString& reason, const QVariantMap& userInfo = {});

    const QString& name() const { return mName; }
    const QString& reason() const { return mReason; }
    const QVariantMap& userInfo() const { return mUserInfo; }

    // The return addresses recorded at construction, innermost first.
    const std::vector<void*>& callStackReturnAddresses() const { return mFrames; }
    // The same frames as text, one line per frame (symbol names where the
    // executable exports them, otherwise module and offset).
    QStringList callStackSymbols() const;
    // Distinguishes exceptions that happen to live at the same address.
    quint64 serial() const { return mSerial; }

    // User information key of a trace text carried along instead of frames.
    static QString stackTraceKey();
    // User information key of the objects the exception concerns.
    static QString affectedObjectsKey();

private:
    QString mName;
    QString mReason;
    QVariantMap mUserInfo;
    std::vector<void*> mFrames;
    quint64 mSerial;
};
