#pragma once
// Numbered values of the product kept in the machine value store (RZPlatform::machineValue), under
// the sub-key "RegistryInfo" with the number as the value name.

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZSingleton.h>

#include <QString>

class RZCORE_EXPORT IRZRegistryInfo
{
public:
    // The entries the library itself reads and writes.
    enum Entry
    {
        FirstUsedDateTime = 5,   // first use of the product, milliseconds since the epoch
        FirstVisitTimeStamp = 7, // first visit, milliseconds since the epoch
    };

    IRZRegistryInfo() = default;
    IRZRegistryInfo(const IRZRegistryInfo&) = default;
    IRZRegistryInfo& operator=(const IRZRegistryInfo&) = default;
    virtual ~IRZRegistryInfo();

    // The stored text, or an empty string for an entry that was never stored.
    virtual QString value(int key) = 0;
    virtual void setValue(int key, const QString& text) = 0;

    // The process's instance, alive until process exit.
    static IRZRegistryInfo* getInstance();
};

// Reads and writes the store at each call: another process's writes are seen at once, and any
// thread may call.
class RZCORE_EXPORT RZRegistryInfo : public IRZRegistryInfo, public RZSingleton<RZRegistryInfo>
{
    friend class RZSingleton<RZRegistryInfo>;

public:
    QString value(int key) override;
    void setValue(int key, const QString& text) override;

protected:
    RZRegistryInfo();
    ~RZRegistryInfo() override;
};

RZCORE_EXTERN_SINGLETON(RZRegistryInfo)
