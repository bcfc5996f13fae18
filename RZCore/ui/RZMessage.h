#pragma once
// Messages between user-interface parts. A message is usually built on the sender's stack and
// passed by pointer; receivers answer through the object itself, and `accept()` ends a walk through
// a scene (see RZUIScene.h). Message numbers, and any ranges among them, belong to the host.

#include <RZCore/RZCoreExport.h>

#include <QMap>
#include <QRect>
#include <QString>
#include <QVariant>

class RZCORE_EXPORT RZMessage
{
public:
    explicit RZMessage(int type);
    RZMessage(const RZMessage& other);
    RZMessage& operator=(const RZMessage& other);
    virtual ~RZMessage();

    int msgType() const;
    void setMsgType(int type);
    bool isType(int type) const;
    // Both bounds included; an empty range (low > high) holds nothing.
    bool inRange(int low, int high);

    void accept();
    void ignore();
    void setAccept(bool accepted);
    bool isAccepted() const;

private:
    bool m_bAccepted = false;
    int m_nMsgType;
};

// Two unowned pointers: what the sender hands over and what a receiver hands back.
class RZCORE_EXPORT RZDataMessage : public RZMessage
{
public:
    explicit RZDataMessage(int type);

    void* data() const;
    void setData(void* data);
    bool hasData() const;
    void* retData() const;
    void setRetData(void* data);

private:
    void* m_pData = nullptr;
    void* m_pRetData = nullptr;
};

// A question with one answer: every typed accessor reads and writes the same value, so writing
// through one setter replaces what another wrote, and a getter converts whatever is there.
class RZCORE_EXPORT RZQueryMessage : public RZMessage
{
public:
    explicit RZQueryMessage(int type);

    bool enabled() const;
    void setEnabled(bool enabled);
    bool inPlaying() const;
    void setPlaying(bool playing);
    bool isAudioTransition() const;
    void setIsAudioTransition(bool audio);
    // 0 when there is no value or it doesn't convert to an integer.
    int count() const;
    void setCount(int count);
    // An invalid rect when the value isn't one.
    QRect getPos();
    void setPos(const QRect& rect);
    QVariant value() const;
    void setValue(const QVariant& value);

private:
    bool asBool() const;
    void setBool(bool value);
    int asInteger() const;
    void setInteger(int value);

    QVariant m_oValue;
};

// A command for a module of the host, with named arguments.
class RZCORE_EXPORT RZCommandMessage : public RZMessage
{
public:
    // The host's modules; this library names none of them. Use RZCommandMessage::ModuleType(n).
    enum ModuleType : qint32
    {
    };

    RZCommandMessage(int type, ModuleType module, const QMap<QString, QVariant>& params);

    ModuleType moduleType();
    // The map itself, to change in place.
    QMap<QString, QVariant>* params();
    QMap<QString, QVariant> getParams();

    // The stored value when the key exists, the fallback otherwise; the chosen value is then
    // converted. A stored value that doesn't convert gives the conversion's zero, not the fallback.
    QVariant value(const QString& key, const QVariant& fallback = QVariant()) const;
    bool asBool(const QString& key, bool fallback = false) const;
    int asInteger(const QString& key, int fallback = 0) const;
    QString asString(const QString& key, const QString& fallback = QString()) const;

protected:
    void insert(const QString& key, const QVariant& value);

private:
    ModuleType m_eModuleType;
    QMap<QString, QVariant> m_mapParams;
};
