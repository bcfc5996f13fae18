#include <RZCore/net/RZTokenHelper.h>

#include <RZCore/log/RZBaseLog.h>

std::function<QString()> RZTokenHelper::s_getTokenFun;
std::function<QString()> RZTokenHelper::s_getAuthCode;
std::function<QString()> RZTokenHelper::s_getUidFun;

QString RZTokenHelper::token()
{
    if (!s_getTokenFun) {
        RZLOG_WARN("get token function is nullptr.");
        return QString();
    }
    return s_getTokenFun();
}

QString RZTokenHelper::authCode()
{
    if (!s_getAuthCode) {
        RZLOG_WARN("get authCode function is nullptr.");
        return QString();
    }
    return s_getAuthCode();
}

QString RZTokenHelper::uid()
{
    if (!s_getUidFun) {
        RZLOG_WARN("get uid function is nullptr.");
        return QString();
    }
    return s_getUidFun();
}
