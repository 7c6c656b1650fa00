// noncopyable.h: the base of classes that own something that must not be owned twice.
#pragma once

namespace utilities
{
/// An empty base class that forbids copying (and with it moving).
class noncopyable
{
public:
    noncopyable(const noncopyable&) = delete;
    noncopyable& operator=(const noncopyable&) = delete;

protected:
    noncopyable() = default;
    ~noncopyable() = default;
};
} // namespace utilities
