#include "DemoHost.h"

#include <cstdio>

DemoApplication::DemoApplication(int& argc, char** argv) : RZApplication(argc, argv) {}

void demoSection(const char* title)
{
    std::printf("\n== %s ==\n", title);
    std::fflush(stdout);
}

void demoSay(const QString& text)
{
    std::printf("  %s\n", qUtf8Printable(text));
    std::fflush(stdout);
}
