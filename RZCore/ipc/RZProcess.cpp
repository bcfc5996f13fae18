#include <RZCore/ipc/RZProcess.h>

RZProcess::RZProcess(QObject* parent) : QProcess(parent) {}

RZProcess::~RZProcess()
{
    if (m_bDetached && state() != QProcess::NotRunning) {
        // QProcess kills a child that is still running when it is destroyed. Closing our ends of the
        // pipes and marking the process as not running lets the child go on alone.
        blockSignals(true);
        closeWriteChannel();
        closeReadChannel(QProcess::StandardOutput);
        closeReadChannel(QProcess::StandardError);
        setProcessState(QProcess::NotRunning);
    }
}

void RZProcess::detached(bool bDetached)
{
    m_bDetached = bDetached;
}

bool RZProcess::detached() const
{
    return m_bDetached;
}
