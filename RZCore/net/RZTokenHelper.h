#pragma once
// The signed-in user's credentials, as the host supplies them. The library cannot know them: the host
// assigns the three functions once at start, before any request, and code of the host and of its
// plug-ins asks here. Values are never cached; each call asks the host's function again, on the
// calling thread, so the functions must be safe on whichever thread asks.
//
//     RZTokenHelper::s_getTokenFun = [] { return session().accessToken(); };
//     request.setRawHeader("Authorization", "Bearer " + RZTokenHelper::token().toUtf8());
//
// An unassigned function gives an empty text and one warning per call.

#include <RZCore/RZCoreExport.h>

#include <QString>

#include <functional>

class RZCORE_EXPORT RZTokenHelper
{
public:
    static QString token();
    static QString authCode();
    static QString uid();

    static std::function<QString()> s_getTokenFun;
    static std::function<QString()> s_getAuthCode;
    static std::function<QString()> s_getUidFun;
};
