#include "DemoHost.h"

#include <RZCore/log/RZBaseLog.h>
#include <RZCore/log/RZLogSinks.h>

#include <iostream>

void demoLogging(DemoContext& /*context*/)
{
    demoSection("logging");
    demoSay(QStringLiteral("the default logger \"app\" writes to standard output:"));
    RZBaseLog::setLevel(RZBaseLog::LogLevel::debug);
    RZLOG_DEBUG("a DEBUG line (below TRACE in this scheme)");
    RZLOG_TRACE("a TRACE line with values %d and %s", 42, "text");
    RZLOG_INFO("an INFO line");
    RZLOG_WARN("a WARN line, 100% sure");
    RZLOG_ERROR("an ERROR line");
    RZLOG_CRITICAL("a CRITICAL line");
    RZBaseLog::LogStream(*RZBaseLog::defaultLogger(), {}).info() << "a stream line, " << 3 << " parts";

    demoSay(QStringLiteral("setLevel(warn): INFO is dropped, WARN passes"));
    RZBaseLog::setLevel(RZBaseLog::LogLevel::warn);
    RZLOG_INFO("this INFO line is below the mask and never formatted");
    RZLOG_WARN("mask is now 0x%x", RZBaseLog::defaultLogger()->log_level());
    RZBaseLog::setLevel(RZBaseLog::LogLevel::trace);
}
