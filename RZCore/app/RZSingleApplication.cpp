#include <RZCore/app/RZSingleApplication.h>

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/platform/RZPlatform.h>

RZSingleApplication::RZSingleApplication(const QString& key) : m_strKey(key)
{
    init();
}

RZSingleApplication::RZSingleApplication(const RZSingleApplication& other)
    : m_strKey(other.m_strKey), m_pHandle(RZPlatform::duplicateInstanceLock(other.m_pHandle)),
      m_nOpenCode(other.m_nOpenCode), m_nCreateCode(other.m_nCreateCode)
{
}

RZSingleApplication& RZSingleApplication::operator=(const RZSingleApplication& other)
{
    if (this != &other) {
        void* handle = RZPlatform::duplicateInstanceLock(other.m_pHandle);
        RZPlatform::releaseInstanceLock(m_pHandle);
        m_strKey = other.m_strKey;
        m_pHandle = handle;
        m_nOpenCode = other.m_nOpenCode;
        m_nCreateCode = other.m_nCreateCode;
    }
    return *this;
}

RZSingleApplication::~RZSingleApplication()
{
    if (m_pHandle) {
        RZPlatform::releaseInstanceLock(m_pHandle);
        m_pHandle = nullptr;
    }
}

bool RZSingleApplication::isRunning()
{
    return !m_strKey.isEmpty() && !m_pHandle;
}

void RZSingleApplication::printErrorCode()
{
    RZLOG_IN("RZSingleApplication::printErrorCode", RZBaseLog::LogLevel::warn, "openCode:%x, createCode:%x",
             static_cast<unsigned>(m_nOpenCode), static_cast<unsigned>(m_nCreateCode));
}

void RZSingleApplication::init()
{
    if (m_strKey.isEmpty())
        return;
    std::int64_t openCode = 0;
    std::int64_t createCode = 0;
    m_pHandle = RZPlatform::acquireInstanceLock(m_strKey.toStdString(), &openCode, &createCode);
    m_nOpenCode = openCode;
    m_nCreateCode = createCode;
}
