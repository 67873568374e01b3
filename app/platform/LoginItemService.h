#pragma once

#include "model/Result.h"

// Starting Limitra when the user signs in.
class LoginItemService
{
public:
    virtual ~LoginItemService() = default;
    virtual bool isEnabled() const = 0;
    // Does nothing when the state already is the requested one.
    virtual Result<void> setEnabled(bool enabled) = 0;
};
