// Prints what RZApplication::extractStartupArgs finds on its own command line, one
// "key<TAB>value" line per entry, so that a test can start it with real arguments.
#include <RZCore/app/RZApplication.h>

#include <cstdio>

int main(int argc, char** argv)
{
    RZApplication app(argc, argv);
    const QMap<QString, QString> found = RZApplication::extractStartupArgs();
    for (auto it = found.cbegin(); it != found.cend(); ++it)
        std::printf("%s\t%s\n", qUtf8Printable(it.key()), qUtf8Printable(it.value()));
    return 0;
}
