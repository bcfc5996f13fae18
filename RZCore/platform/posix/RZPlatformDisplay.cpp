#include <RZCore/platform/RZPlatform.h>

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>

namespace RZPlatform {

namespace {

// The few libX11 entry points needed, declared here so that the library neither links X nor needs
// its headers: a machine without X (a server, a Wayland-only desktop) loads the library all the same.
struct XDisplay;
struct XrmDatabaseRec;
using XrmDatabase = XrmDatabaseRec*;
struct XrmValue
{
    unsigned int size;
    char* addr;
};

struct X11
{
    XDisplay* (*openDisplay)(const char*) = nullptr;
    int (*closeDisplay)(XDisplay*) = nullptr;
    int (*defaultScreen)(XDisplay*) = nullptr;
    int (*displayWidth)(XDisplay*, int) = nullptr;
    int (*displayHeight)(XDisplay*, int) = nullptr;
    char* (*resourceManagerString)(XDisplay*) = nullptr;
    void (*xrmInitialize)() = nullptr;
    XrmDatabase (*xrmGetStringDatabase)(const char*) = nullptr;
    int (*xrmGetResource)(XrmDatabase, const char*, const char*, char**, XrmValue*) = nullptr;
    void (*xrmDestroyDatabase)(XrmDatabase) = nullptr;
    bool loaded = false;
};

template <typename F>
bool resolve(void* library, const char* name, F& out)
{
    out = reinterpret_cast<F>(::dlsym(library, name));
    return out != nullptr;
}

// Loaded once and kept for the life of the process: unloading libX11 under a running Qt xcb
// plugin that uses it too would be asking for trouble.
const X11& x11()
{
    static const X11 api = [] {
        X11 x;
        void* library = ::dlopen("libX11.so.6", RTLD_NOW | RTLD_LOCAL);
        if (!library)
            return x;
        x.loaded = resolve(library, "XOpenDisplay", x.openDisplay) && resolve(library, "XCloseDisplay", x.closeDisplay)
                   && resolve(library, "XDefaultScreen", x.defaultScreen)
                   && resolve(library, "XDisplayWidth", x.displayWidth)
                   && resolve(library, "XDisplayHeight", x.displayHeight)
                   && resolve(library, "XResourceManagerString", x.resourceManagerString)
                   && resolve(library, "XrmInitialize", x.xrmInitialize)
                   && resolve(library, "XrmGetStringDatabase", x.xrmGetStringDatabase)
                   && resolve(library, "XrmGetResource", x.xrmGetResource)
                   && resolve(library, "XrmDestroyDatabase", x.xrmDestroyDatabase);
        return x;
    }();
    return api;
}

// "Xft.dpi" from the root window's resource string, matched the way X clients match resources
// ("Xft.dpi", "*dpi", "Xft*Dpi" all apply); 0 when absent or not a positive number.
double xftDpi(const X11& x, XDisplay* display)
{
    const char* resources = x.resourceManagerString(display);
    if (!resources)
        return 0;
    x.xrmInitialize();
    XrmDatabase database = x.xrmGetStringDatabase(resources);
    if (!database)
        return 0;
    double dpi = 0;
    char* type = nullptr;
    XrmValue value{0, nullptr};
    if (x.xrmGetResource(database, "Xft.dpi", "Xft.Dpi", &type, &value) && value.addr) {
        char* end = nullptr;
        const double parsed = std::strtod(value.addr, &end);
        if (end != value.addr && parsed > 0)
            dpi = parsed;
    }
    x.xrmDestroyDatabase(database);
    return dpi;
}

} // namespace

SystemDisplay systemDisplay()
{
    SystemDisplay result;
    const char* name = std::getenv("DISPLAY");
    if (!name || !*name) {
        result.reason = "DISPLAY is not set";
        return result;
    }
    const X11& x = x11();
    if (!x.loaded) {
        result.reason = "libX11.so.6 cannot be loaded";
        return result;
    }
    // Xlib keeps process-wide state (the Xrm quark tables among it) that is not thread-safe unless
    // XInitThreads ran first, which only the first Xlib call of the process may do: one caller at a time.
    static std::mutex xlibMutex;
    std::lock_guard<std::mutex> lock(xlibMutex);
    XDisplay* display = x.openDisplay(name);
    if (!display) {
        result.reason = std::string("cannot open X display \"") + name + '"';
        return result;
    }
    const int screen = x.defaultScreen(display);
    result.width = x.displayWidth(display, screen);
    result.height = x.displayHeight(display, screen);
    const double dpi = xftDpi(x, display);
    result.pixelRatio = dpi > 0 ? dpi / 96.0 : 1.0;
    result.available = true;
    x.closeDisplay(display);
    return result;
}

DpiAwarenessCall setProcessDpiAwareness(unsigned /*awareness*/)
{
    return DpiAwarenessCall::Unresolved; // no process DPI awareness outside Windows
}

DpiAwarenessCall getProcessDpiAwareness(int* /*awareness*/, std::uint64_t* /*lastError*/)
{
    return DpiAwarenessCall::Unresolved;
}

} // namespace RZPlatform
