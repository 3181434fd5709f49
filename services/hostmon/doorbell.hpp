#pragma once

/** @file How threads wake the event loop. */

namespace healthintf::hostmon
{

/** A descriptor that is readable once ring() was called, until answer(). */
class Doorbell
{
  public:
    /** @throws std::system_error when there can be no descriptor */
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
