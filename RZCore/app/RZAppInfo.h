#pragma once
// Process-wide table of application identity values, filled by the host and read by number.
//
// Keys the library reads: 8 (companion launcher), 13 (freeze dumps), 14 (configuration
// directory), 16 (temporary settings and document directory), 21 (thumbnail paths), 26 (locale).
// Keys seeded at first use: 65, 66 (A/B-test address) and 67.

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZSingleton.h>

#include <QMap>
#include <QString>

class RZCORE_EXPORT IRZAppInfo
{
public:
    IRZAppInfo() = default;
    IRZAppInfo(const IRZAppInfo&) = default;
    IRZAppInfo& operator=(const IRZAppInfo&) = default;
    virtual ~IRZAppInfo();

    virtual QString organizationName() = 0;
    virtual QString organizationDomain() = 0;
    virtual QString applicationName() = 0;
    virtual QString applicationVersion() = 0;
    virtual QString valueOfKey12() = 0;
    virtual QString valueOfKey0() = 0;
    // The stored text, or an empty string for a key that was never set.
    virtual QString value(int key) = 0;
    virtual void setValue(int key, const QString& text) = 0;

    // The process's table, built and seeded on first call, alive until process exit.
    static IRZAppInfo* getInstance();
};

class RZCORE_EXPORT FAppInfo : public IRZAppInfo, public RZSingleton<FAppInfo>
{
    friend class RZSingleton<FAppInfo>;

public:
    QString organizationName() override;
    QString organizationDomain() override;
    QString applicationName() override;
    QString applicationVersion() override;
    QString valueOfKey12() override;
    QString valueOfKey0() override;
    QString value(int key) override;
    void setValue(int key, const QString& text) override;

protected:
    FAppInfo();
    ~FAppInfo() override;

private:
    QMap<int, QString> m_oValues;
};

RZCORE_EXTERN_SINGLETON(FAppInfo)
