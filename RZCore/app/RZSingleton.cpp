#include <RZCore/app/RZSingleton.h>

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/platform/RZPlatform.h>

#include <typeinfo>

RZCORE_INSTANTIATE_SINGLETON(RZLazySingletonManager)

IRZLazySingleton::~IRZLazySingleton() = default;

RZLazySingletonManager::RZLazySingletonManager()
{
    // The manager's destructor logs at exit through the logger registry, which is a function-local
    // static too: touching it now makes it outlive the manager.
    RZBaseLog::defaultLogger();
}

RZLazySingletonManager::~RZLazySingletonManager()
{
    releaseAll();
}

void RZLazySingletonManager::add(IRZLazySingleton* singleton)
{
    m_oSingletonSet.insert(singleton);
}

void RZLazySingletonManager::remove(IRZLazySingleton* singleton)
{
    m_oSingletonSet.remove(singleton);
}

void RZLazySingletonManager::releaseAll()
{
    static constexpr const char* kFunction = "RZLazySingletonManager::releaseAll";
    RZLOG_IN(kFunction, RZBaseLog::LogLevel::info, "m_oSingletonSet.count:%d", m_oSingletonSet.size());
    // The size is read again every round: a singleton built while another one is being destroyed
    // is destroyed in the same call. destory() removes its own entry through remove().
    while (m_oSingletonSet.size() > 0) {
        IRZLazySingleton* singleton = *m_oSingletonSet.cbegin();
        RZLOG_IN(kFunction, RZBaseLog::LogLevel::info, "pSingleton->destory begin, type: %s",
                 RZPlatform::readableTypeName(typeid(*singleton)).c_str());
        singleton->destory();
        RZLOG_IN(kFunction, RZBaseLog::LogLevel::info, "pSingleton->destory done");
    }
}
