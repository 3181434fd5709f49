#include "bus_survey.hpp"

#include "../error.hpp"

#include <com/vexa/olvar/healthmgr/HealthStatus/common.hpp>
#include <com/vexa/olvar/healthmgr/names.hpp>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <list>
#include <memory>
#include <utility>
#include <vector>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

constexpr uint64_t patienceMicroseconds = 3'000'000;
namespace common = sdbusplus::common::com::vexa::olvar::healthmgr;

void expectAnswer(int result)
{
    if (result < 0)
    {
        throw Error(ExitCode::unavailable,
                    std::string("the bus does not answer: ") +
                        std::strerror(-result) + "; see its log");
    }
}

struct Free
{
    void operator()(char** names) const
    {
        for (char** each = names; each != nullptr && *each != nullptr; ++each)
        {
            std::free(*each);
        }
        std::free(names);
    }
};

std::vector<std::string> othersOn(sd_bus* bus)
{
    char** list = nullptr;
    expectAnswer(sd_bus_list_names(bus, &list, nullptr));
    const std::unique_ptr<char*, Free> names(list);
    const char* own = nullptr;
    expectAnswer(sd_bus_get_unique_name(bus, &own));
    std::vector<std::string> others;
    for (char** each = list; *each != nullptr; ++each)
    {
        if (**each == ':' && std::strcmp(*each, own) != 0)
        {
            others.emplace_back(*each);
        }
    }
    return others;
}

/** Calls that are under way, and how many of them are open. */
class Questions
{
  public:
    using Take = std::function<void(sd_bus_message* reply)>;

    /** @param[out] silent gets the names of who does not answer */
    Questions(sd_bus* bus, std::set<std::string>& silent) :
        bus(bus), silent(silent)
    {}

    /** Sends a call and takes its answer if it is a good one. */
    void ask(const std::string& peer, sd_bus_message* call, Take take)
    {
        Question& question =
            asked.emplace_back(Question{this, peer, std::move(take), nullptr});
        sd_bus_slot* slot = nullptr;
        expectAnswer(sd_bus_call_async(bus, &slot, call, answered, &question,
                                       patienceMicroseconds));
        question.slot.reset(slot);
        ++open;
    }

    void waitForAll()
    {
        while (open > 0)
        {
            const int result = sd_bus_process(bus, nullptr);
            expectAnswer(result);
            // An answer that did not come in time counts as nothing processed.
            if (result == 0 && open > 0)
            {
                expectAnswer(sd_bus_wait(bus, UINT64_MAX));
            }
        }
    }

  private:
    struct Question
    {
        Questions* all;
        std::string peer;
        Take take;
        SlotPtr slot;
    };

    static int answered(sd_bus_message* reply, void* context,
                        sd_bus_error* /*error*/)
    {
        auto* question = static_cast<Question*>(context);
        --question->all->open;
        try
        {
            if (sd_bus_message_is_method_error(reply, nullptr) == 0)
            {
                question->take(reply);
            }
            else if (sd_bus_message_is_method_error(reply,
                                                    SD_BUS_ERROR_NO_REPLY) != 0)
            {
                question->all->silent.insert(question->peer);
            }
        }
        catch (const std::exception&)
        {
            // Anybody may answer anything; it says nothing about the others.
        }
        return 0;
    }

    sd_bus* bus;
    std::set<std::string>& silent;
    std::list<Question> asked;
    std::size_t open = 0;
};

MessagePtr callOf(sd_bus* bus, const std::string& peer, const char* interface,
                  const char* member)
{
    sd_bus_message* call = nullptr;
    expectAnswer(sd_bus_message_new_method_call(
        bus, &call, peer.c_str(), names::root, interface, member));
    MessagePtr owned(call);
    // A service that is not there shall not be started for this.
    expectAnswer(sd_bus_message_set_auto_start(call, 0));
    return owned;
}

void askFor(Questions& questions, sd_bus* bus, const std::string& peer,
            std::map<std::string, Shown>& shown)
{
    const auto objects = callOf(bus, peer, "org.freedesktop.DBus.ObjectManager",
                                "GetManagedObjects");
    questions.ask(peer, objects.get(), [&shown, peer](sd_bus_message* reply) {
        shown[peer].objects = readManagedObjects(reply);
    });
    const auto root =
        callOf(bus, peer, "org.freedesktop.DBus.Properties", "Get");
    expectAnswer(sd_bus_message_append(
        root.get(), "ss", common::HealthStatus::interface, "HealthStatus"));
    questions.ask(peer, root.get(), [&shown, peer](sd_bus_message* reply) {
        shown[peer].rootHealth = std::get<uint32_t>(readVariant(reply));
    });
}

} // namespace

Survey surveyBus(sd_bus* bus)
{
    Survey survey;
    Questions questions(bus, survey.silent);
    for (const std::string& peer : othersOn(bus))
    {
        askFor(questions, bus, peer, survey.shown);
    }
    questions.waitForAll();
    return survey;
}

} // namespace healthintf::healthctl
