// Links the installed library through the umbrella header and uses a few of its families.
#include <RZCore/RZCore.h>

#include <cstdio>

class ConsumerApplication : public RZApplication
{
public:
    using RZApplication::RZApplication;
    void start() { init(); }
};

int main(int argc, char** argv)
{
    ConsumerApplication app(argc, argv);
    app.start();
    RZLOG_INFO("consumer linked RZCore %s", "ok");
    std::printf("key 67: %s\n", qUtf8Printable(IRZAppInfo::getInstance()->value(67)));
    return IRZAppInfo::getInstance()->value(67).isEmpty() ? 1 : 0;
}
