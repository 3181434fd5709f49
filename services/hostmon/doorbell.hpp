#pragma once

/** @file Wakes the event loop from other threads. */

namespace healthintf::hostmon
{

/** A descriptor that is readable from wake() on until reset(). */
class Doorbell
{
  public:
    /** @throws std::system_error when the system gives no descriptor */
    Doorbell();
    ~Doorbell();
    Doorbell(const Doorbell&) = delete;
    Doorbell& operator=(const Doorbell&) = delete;

    /** May be called from any thread. */
    void ring() const;
    void answer() const;

    int descriptor() const
    {
        return fd;
    }

  private:
    int fd;
};

} // namespace healthintf::hostmon
