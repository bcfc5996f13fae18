#include <RZCore/platform/RZPlatform.h>

namespace RZPlatform {

bool localServerOpenToAllByDefault()
{
    return false;
}

} // namespace RZPlatform
