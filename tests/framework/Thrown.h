#pragma once

#include <string>

/// What the exception of class X says that the action throws.
template <class X, class Action> std::string textThrown(Action const& action) {
    try {
        action();
    } catch (X const& exception) {
        return exception.what();
    }
    return "nothing thrown";
}
