#include <RZCore/util/RZStringUtils.h>

int RZStringUtils::rPos(const QString& subStr, const QString& text)
{
    if (subStr.isEmpty())
        return -1;
    return text.lastIndexOf(subStr);
}

bool StringOperation::SameText(const QString& first, const QString& second)
{
    return first.compare(second, Qt::CaseInsensitive) == 0;
}
