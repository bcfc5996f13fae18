#include <RZCore/platform/RZPlatform.h>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

namespace RZPlatform {

namespace {

// HRESULT WINAPI SetProcessDpiAwareness(PROCESS_DPI_AWARENESS) and
// HRESULT WINAPI GetProcessDpiAwareness(HANDLE, PROCESS_DPI_AWARENESS*), from <shellscalingapi.h>.
using SetAwarenessFn = HRESULT(WINAPI*)(int);
using GetAwarenessFn = HRESULT(WINAPI*)(HANDLE, int*);

FARPROC shcoreFunction(const char* name)
{
    HMODULE shcore = ::LoadLibraryW(L"Shcore");
    return shcore ? ::GetProcAddress(shcore, name) : nullptr;
}

} // namespace

SystemDisplay systemDisplay()
{
    // The desktop window's device context is taken and not released, as the product always did.
    HDC dc = ::GetDC(::GetDesktopWindow());
    SystemDisplay result;
    result.available = true;
    result.width = ::GetDeviceCaps(dc, DESKTOPHORZRES);
    result.height = ::GetDeviceCaps(dc, DESKTOPVERTRES);
    const int logicalWidth = ::GetSystemMetrics(SM_CXSCREEN);
    result.pixelRatio = logicalWidth > 0 ? static_cast<double>(result.width) / logicalWidth : 1.0;
    return result;
}

DpiAwarenessCall setProcessDpiAwareness(unsigned awareness)
{
    const auto set = reinterpret_cast<SetAwarenessFn>(reinterpret_cast<void*>(shcoreFunction("SetProcessDpiAwareness")));
    if (!set)
        return DpiAwarenessCall::Unresolved;
    return set(static_cast<int>(awareness)) >= 0 ? DpiAwarenessCall::Succeeded : DpiAwarenessCall::Failed;
}

DpiAwarenessCall getProcessDpiAwareness(int* awareness, std::uint64_t* lastError)
{
    const auto get = reinterpret_cast<GetAwarenessFn>(reinterpret_cast<void*>(shcoreFunction("GetProcessDpiAwareness")));
    if (!get)
        return DpiAwarenessCall::Unresolved;
    int value = 0;
    if (get(nullptr, &value) < 0) {
        if (lastError)
            *lastError = ::GetLastError();
        return DpiAwarenessCall::Failed;
    }
    if (awareness)
        *awareness = value;
    return DpiAwarenessCall::Succeeded;
}

} // namespace RZPlatform
