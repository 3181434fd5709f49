#pragma once

/** @file Calls what an object's owner has set in it, which may replace itself
 *  and destroy the object. */

#include <functional>
#include <memory>
#include <utility>

namespace health_namespace::details
{

/** Stands in a std::function for another one, whose end it does not depend
 *  on. Copies share what that one remembers. */
template <typename Result, typename... Args>
struct SharedCallable
{
    std::shared_ptr<std::function<Result(Args...)>> shared;

    Result operator()(Args... args) const
    {
        return (*shared)(std::forward<Args>(args)...);
    }
};

/** Calls a function that may replace, clear or destroy the very variable that
 *  it stands in.
 *
 *  @param[in,out] member the function, not empty; stands behind a
 *                 SharedCallable from the first call on
 *  @throws std::bad_alloc at the first call, which is not made then; and what
 *          the function throws */
template <typename Result, typename... Args, typename... Given>
Result callOwners(std::function<Result(Args...)>& member, Given&&... args)
{
    using Shared = SharedCallable<Result, Args...>;
    if (member.template target<Shared>() == nullptr)
    {
        Shared made{std::make_shared<std::function<Result(Args...)>>()};
        std::function<Result(Args...)> standIn(made);
        made.shared->swap(member);
        member.swap(standIn);
    }
    const auto held = member.template target<Shared>()->shared;
    return (*held)(std::forward<Given>(args)...);
}

/** Tells whether an object has been destroyed since this was made. The object
 *  tells so itself; both belong to the same thread. */
class EndWatch
{
  public:
    explicit EndWatch(const void* object) : object(object), outer(innermost)
    {
        innermost = this;
    }

    ~EndWatch()
    {
        innermost = outer;
    }

    EndWatch(const EndWatch&) = delete;
    EndWatch& operator=(const EndWatch&) = delete;

    bool isOver() const
    {
        return over;
    }

    /** Tells all that watch an object of its end. */
    static void tell(const void* object)
    {
        for (EndWatch* each = innermost; each != nullptr; each = each->outer)
        {
            each->over |= each->object == object;
        }
    }

  private:
    inline static thread_local EndWatch* innermost = nullptr;

    const void* object;
    EndWatch* outer;
    bool over = false;
};

} // namespace health_namespace::details
