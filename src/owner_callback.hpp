// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Calls a callback that an object's owner has set, and that may replace
 *  itself or destroy the object. */

#include <functional>
#include <memory>
#include <utility>

namespace health_namespace::details
{

/** A std::function behind a shared pointer: a copy keeps the function alive
 *  during a call, and shares its state. */
template <typename Result, typename... Args>
struct SharedCallback
{
    std::shared_ptr<std::function<Result(Args...)>> shared;

    Result operator()(Args... args) const
    {
        return (*shared)(std::forward<Args>(args)...);
    }
};

/** Calls a function that may replace, clear or destroy the variable that holds
 *  it.
 *
 *  @param[in,out] member the function, not empty; the first call wraps it into
 *                 a SharedCallback
 *  @throws std::bad_alloc when the first call has no memory for the wrapping,
 *          and nothing is called; and what the function throws */
template <typename Result, typename... Args, typename... Given>
Result callOwnerCallback(std::function<Result(Args...)>& member,
                         Given&&... args)
{
    using Shared = SharedCallback<Result, Args...>;
    if (member.template target<Shared>() == nullptr)
    {
        Shared made{std::make_shared<std::function<Result(Args...)>>()};
        std::function<Result(Args...)> standIn(made);
        made.shared->swap(member);
        member.swap(standIn);
    }
    const auto callback = member.template target<Shared>()->shared;
    return (*callback)(std::forward<Given>(args)...);
}

/** Tells whether an object has been destroyed since the watch was made. The
 *  object's destructor must call markDestroyed(); both belong to the same
 *  thread. */
class DestructionWatch
{
  public:
    explicit DestructionWatch(const void* object) :
        object(object), outer(innermost)
    {
        innermost = this;
    }

    ~DestructionWatch()
    {
        innermost = outer;
    }

    DestructionWatch(const DestructionWatch&) = delete;
    DestructionWatch& operator=(const DestructionWatch&) = delete;

    bool isDestroyed() const
    {
        return destroyed;
    }

    /** Tells all watches of an object that it is being destroyed. */
    static void markDestroyed(const void* object)
    {
        for (DestructionWatch* each = innermost; each != nullptr;
             each = each->outer)
        {
            each->destroyed |= each->object == object;
        }
    }

  private:
    inline static thread_local DestructionWatch* innermost = nullptr;

    const void* object;
    DestructionWatch* outer;
    bool destroyed = false;
};

} // namespace health_namespace::details
