#pragma once
// A sink for tests: keeps every record's rendered line and counts flushes.

#include <RZCore/log/RZBaseLog.h>

#include <mutex>
#include <string>
#include <vector>

class RZTestLogSink : public RZBaseLog::RZSink
{
public:
    struct Record
    {
        RZBaseLog::LogLevel level;
        std::string message;
        std::string function;
        std::string line; // the rendered console line
    };

    void log(const RZBaseLog::log_data& data) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        Record r{data.level, std::string(data.message),
                 data.location.funcname ? data.location.funcname : std::string(), std::string()};
        RZBaseLog::renderLine(data, r.line);
        m_records.push_back(std::move(r));
    }
    void flush() override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_flushes;
    }

    std::vector<Record> records() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_records;
    }
    std::vector<std::string> messages() const
    {
        std::vector<std::string> out;
        for (const Record& r : records())
            out.push_back(r.message);
        return out;
    }
    int flushes() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_flushes;
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_records.clear();
        m_flushes = 0;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<Record> m_records;
    int m_flushes = 0;
};

// Installs a logger with a test sink as the process default for the lifetime of the object, and
// puts the previous default back afterwards.
class RZScopedTestLogger
{
public:
    explicit RZScopedTestLogger(const std::string& name = "test")
        : sink(std::make_shared<RZTestLogSink>()), logger(std::make_shared<RZBaseLog::RZBaseLogger>(name, sink))
    {
        if (RZBaseLog::RZBaseLogger* previous = RZBaseLog::defaultLogger())
            m_previous = RZBaseLog::get(previous->name());
        RZBaseLog::initLogger(logger);
        RZBaseLog::registerLogger(logger, true);
    }
    ~RZScopedTestLogger() { RZBaseLog::registerLogger(m_previous, true); }

    std::shared_ptr<RZTestLogSink> sink;
    std::shared_ptr<RZBaseLog::RZBaseLogger> logger;

private:
    std::shared_ptr<RZBaseLog::RZBaseLogger> m_previous;
};
