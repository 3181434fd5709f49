#include <platform/notification.h>

#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <string>

namespace
{

struct Subscription
{
    std::string name;
    LQOVS_callback callback;
    void* context;
};

/** The subscriptions of this process by their handles. */
class Subscriptions
{
  public:
    void* add(std::unique_ptr<Subscription> subscription)
    {
        const std::lock_guard lock(mutex);
        return held.insert(std::move(subscription)).first->get();
    }

    void remove(const void* handle)
    {
        const std::lock_guard lock(mutex);
        std::erase_if(held, [handle](const auto& subscription) {
            return subscription.get() == handle;
        });
    }

  private:
    std::mutex mutex;
    std::set<std::unique_ptr<Subscription>> held;
};

Subscriptions& subscriptions()
{
    static auto* instance = new Subscriptions;
    return *instance;
}

} // namespace

void* LQOVS_receive_signal(const char* name, LQOVS_callback callback,
                           void* context)
{
    if (name == nullptr || callback == nullptr)
    {
        return nullptr;
    }
    try
    {
        return subscriptions().add(std::make_unique<Subscription>(
            Subscription{name, callback, context}));
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}

void LQOVS_receive_signal_free(void* handle)
{
    if (handle != nullptr)
    {
        subscriptions().remove(handle);
    }
}
