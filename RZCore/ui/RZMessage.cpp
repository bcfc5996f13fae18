#include <RZCore/ui/RZMessage.h>

RZMessage::RZMessage(int type) : m_nMsgType(type) {}

RZMessage::RZMessage(const RZMessage& other) = default;
RZMessage& RZMessage::operator=(const RZMessage& other) = default;
RZMessage::~RZMessage() = default;

int RZMessage::msgType() const
{
    return m_nMsgType;
}

void RZMessage::setMsgType(int type)
{
    m_nMsgType = type;
}

bool RZMessage::isType(int type) const
{
    return m_nMsgType == type;
}

bool RZMessage::inRange(int low, int high)
{
    return low <= m_nMsgType && m_nMsgType <= high;
}

void RZMessage::accept()
{
    m_bAccepted = true;
}

void RZMessage::ignore()
{
    m_bAccepted = false;
}

void RZMessage::setAccept(bool accepted)
{
    m_bAccepted = accepted;
}

bool RZMessage::isAccepted() const
{
    return m_bAccepted;
}

// ---- RZDataMessage ----------------------------------------------------------------------------

RZDataMessage::RZDataMessage(int type) : RZMessage(type) {}

void* RZDataMessage::data() const
{
    return m_pData;
}

void RZDataMessage::setData(void* data)
{
    m_pData = data;
}

bool RZDataMessage::hasData() const
{
    return m_pData != nullptr;
}

void* RZDataMessage::retData() const
{
    return m_pRetData;
}

void RZDataMessage::setRetData(void* data)
{
    m_pRetData = data;
}

// ---- RZQueryMessage ---------------------------------------------------------------------------

RZQueryMessage::RZQueryMessage(int type) : RZMessage(type) {}

bool RZQueryMessage::enabled() const
{
    return asBool();
}

void RZQueryMessage::setEnabled(bool enabled)
{
    setBool(enabled);
}

bool RZQueryMessage::inPlaying() const
{
    return asBool();
}

void RZQueryMessage::setPlaying(bool playing)
{
    setBool(playing);
}

bool RZQueryMessage::isAudioTransition() const
{
    return asBool();
}

void RZQueryMessage::setIsAudioTransition(bool audio)
{
    setBool(audio);
}

int RZQueryMessage::count() const
{
    return asInteger();
}

void RZQueryMessage::setCount(int count)
{
    setInteger(count);
}

QRect RZQueryMessage::getPos()
{
    return m_oValue.toRect();
}

void RZQueryMessage::setPos(const QRect& rect)
{
    m_oValue = rect;
}

QVariant RZQueryMessage::value() const
{
    return m_oValue;
}

void RZQueryMessage::setValue(const QVariant& value)
{
    m_oValue = value;
}

bool RZQueryMessage::asBool() const
{
    return m_oValue.toBool();
}

void RZQueryMessage::setBool(bool value)
{
    m_oValue = value;
}

int RZQueryMessage::asInteger() const
{
    bool ok = false;
    const int value = m_oValue.toInt(&ok);
    return ok ? value : 0;
}

void RZQueryMessage::setInteger(int value)
{
    m_oValue = value;
}

// ---- RZCommandMessage -------------------------------------------------------------------------

RZCommandMessage::RZCommandMessage(int type, ModuleType module, const QMap<QString, QVariant>& params)
    : RZMessage(type), m_eModuleType(module), m_mapParams(params)
{
}

RZCommandMessage::ModuleType RZCommandMessage::moduleType()
{
    return m_eModuleType;
}

QMap<QString, QVariant>* RZCommandMessage::params()
{
    return &m_mapParams;
}

QMap<QString, QVariant> RZCommandMessage::getParams()
{
    return m_mapParams;
}

void RZCommandMessage::insert(const QString& key, const QVariant& value)
{
    m_mapParams.insert(key, value);
}

QVariant RZCommandMessage::value(const QString& key, const QVariant& fallback) const
{
    const auto it = m_mapParams.constFind(key);
    return it != m_mapParams.constEnd() ? it.value() : fallback;
}

bool RZCommandMessage::asBool(const QString& key, bool fallback) const
{
    return value(key, QVariant(fallback)).toBool();
}

int RZCommandMessage::asInteger(const QString& key, int fallback) const
{
    return value(key, QVariant(fallback)).toInt();
}

QString RZCommandMessage::asString(const QString& key, const QString& fallback) const
{
    return value(key, QVariant(fallback)).toString();
}
