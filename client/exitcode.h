// How quorvanectl ends, and results that say it.
#pragma once

#include <QString>

#include <optional>
#include <utility>

/// The exit codes. Scripts depend on them: `--help` lists them, and none ever changes its meaning.
enum class Exit
{
    Ok = 0,
    NoOutput = 1,
    Usage = 2,
    NotListening = 3,
    NoSuchEndpoint = 4,
    Ambiguous = 5,
    Refused = 6,
    TimedOut = 7,
};

/// Says on standard error why the program ends, and hands the code on.
[[nodiscard]] Exit fail(Exit code, const QString &reason);

/// A value, or the code to end with; the reason has been told by then.
template <typename T>
class Result
{
public:
    Result(T value) : value(std::move(value)) {}
    Result(Exit code) : code(code) {}

    [[nodiscard]] explicit operator bool() const { return value.has_value(); }
    [[nodiscard]] Exit exit() const { return code; }
    const T &operator*() const { return *value; }
    const T *operator->() const { return &*value; }

private:
    std::optional<T> value;
    Exit code = Exit::Ok;
};
