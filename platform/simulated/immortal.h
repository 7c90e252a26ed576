// State that outlives main.
#pragma once

namespace simulated
{

/// The one instance of a type, made at first use and never destroyed: a thread that a test has
/// let go may still call the platform while the process exits.
template <typename T>
T &immortal()
{
    static T *const instance = new T;
    return *instance;
}

} // namespace simulated
