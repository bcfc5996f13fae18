#include <RZCore/platform/RZPlatform.h>

namespace RZPlatform {

bool localServerOpenToAllByDefault()
{
    return true;
}

} // namespace RZPlatform
