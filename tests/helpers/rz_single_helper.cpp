// Takes a single-instance name as a starting host would and prints what it learnt:
// "running=<0|1> handle=<0|1> open=<code> create=<code>". With "hold" it keeps the name until
// standard input closes (or it is killed); otherwise it exits at once.
// Usage: rz_single_helper <key> [hold]
#include <RZCore/app/RZSingleApplication.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    if (argc < 2)
        return 2;
    RZSingleApplication single(QString::fromUtf8(argv[1]));
    std::printf("running=%d handle=%d open=%lld create=%lld\n", single.isRunning() ? 1 : 0,
                single.handle() ? 1 : 0, static_cast<long long>(single.openCode()),
                static_cast<long long>(single.createCode()));
    std::fflush(stdout);
    if (argc > 2 && std::strcmp(argv[2], "hold") == 0) {
        // Holds until the test closes our standard input or kills us; bounded by the test's timeout.
        int c;
        while ((c = std::getchar()) != EOF) {
        }
    }
    return 0;
}
