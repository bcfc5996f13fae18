#pragma once
// Message formatting by the C rules, with a fast path for the conversions log lines use most.
// Private to the logger; exported only so that the tests can compare it with vsnprintf.

#include <RZCore/RZCoreExport.h>

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

namespace RZBaseLog::detail {

// A text buffer that lives on the stack for the usual short line and moves to the heap beyond it.
class MessageBuffer
{
public:
    MessageBuffer() = default;
    MessageBuffer(const MessageBuffer&) = delete;
    MessageBuffer& operator=(const MessageBuffer&) = delete;

    void append(const char* text, std::size_t length)
    {
        if (!m_bHeap && m_nSize + length <= sizeof m_aStack) {
            for (std::size_t i = 0; i < length; ++i)
                m_aStack[m_nSize + i] = text[i];
            m_nSize += length;
            return;
        }
        moveToHeap();
        m_strHeap.append(text, length);
    }
    void push(char c) { append(&c, 1); }
    void clear()
    {
        m_nSize = 0;
        m_bHeap = false;
        m_strHeap.clear();
    }
    std::string_view view() const
    {
        return m_bHeap ? std::string_view(m_strHeap) : std::string_view(m_aStack, m_nSize);
    }

private:
    void moveToHeap()
    {
        if (m_bHeap)
            return;
        m_strHeap.assign(m_aStack, m_nSize);
        m_bHeap = true;
    }

    char m_aStack[480];
    std::size_t m_nSize = 0;
    bool m_bHeap = false;
    std::string m_strHeap;
};

// Formats `format` with `args` exactly as vsnprintf does and appends the text to `out`. False (and
// `out` left empty) when the C runtime reports a formatting error.
RZCORE_EXPORT bool formatMessage(MessageBuffer& out, const char* format, va_list args);

} // namespace RZBaseLog::detail
