#pragma once
// A QProcess that remembers whether it was started detached. A detached process outlives this
// object: destroying it closes the channels to the child but neither kills nor waits for it, where a
// plain QProcess would kill the child and wait for it to end.

#include <RZCore/RZCoreExport.h>

#include <QProcess>

class RZCORE_EXPORT RZProcess : public QProcess
{
    Q_OBJECT

public:
    explicit RZProcess(QObject* parent = nullptr);
    ~RZProcess() override;

    // Records whether the process was started detached; may be set after start().
    void detached(bool bDetached);
    bool detached() const;

private:
    bool m_bDetached = false;
};
