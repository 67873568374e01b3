#include "system/ProcessEnvironment.h"

std::recursive_mutex &ProcessEnvironment::lock()
{
    static std::recursive_mutex environment;
    return environment;
}
