// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A mounted filesystem whose server can stop answering. */

#include "child.hpp"

#include <linux/fuse.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace healthintf::test
{

/** An empty FUSE filesystem that is 90 percent full, served by a child process.
 *  After hang() the server takes requests without answering them: whoever sends
 *  one hangs in the kernel, immune to signals, until the server ends. */
class UnansweringFilesystem
{
  public:
    /** @throws std::system_error where FUSE cannot be mounted */
    explicit UnansweringFilesystem(std::filesystem::path folder) :
        at(std::move(folder)), hung(sharedFlag())
    {
        const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
        check(device >= 0, "/dev/fuse");
        server.emplace([device, flag = hung.get()](const Child::Parent&) {
            return serve(device, *flag);
        });
        const std::string options =
            "fd=" + std::to_string(device) +
            ",rootmode=40755,user_id=0,group_id=0,allow_other";
        const bool mounted =
            mount("test", at.c_str(), "fuse", 0, options.c_str()) == 0;
        const int error = errno;
        // Only the server keeps the device open, so that the mount fails when
        // the server ends.
        close(device);
        errno = error;
        check(mounted, at.c_str());
    }

    ~UnansweringFilesystem()
    {
        server->kill();
        umount2(at.c_str(), MNT_DETACH);
    }

    UnansweringFilesystem(const UnansweringFilesystem&) = delete;
    UnansweringFilesystem& operator=(const UnansweringFilesystem&) = delete;

    void hang()
    {
        *hung = true;
    }

    /** Ends the server: every request fails from now on. */
    void endServer()
    {
        server->kill();
    }

  private:
    using Flag = std::atomic<bool>;

    struct Unmap
    {
        void operator()(Flag* flag) const
        {
            munmap(flag, sizeof *flag);
        }
    };

    static void check(bool good, const char* what)
    {
        if (!good)
        {
            throw std::system_error(errno, std::generic_category(), what);
        }
    }

    /** A flag in memory that is shared with the server. */
    static std::unique_ptr<Flag, Unmap> sharedFlag()
    {
        void* memory = mmap(nullptr, sizeof(Flag), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        check(memory != MAP_FAILED, "mmap");
        return std::unique_ptr<Flag, Unmap>(new (memory) Flag(false));
    }

    template <typename Answer>
    static std::vector<char> encode(const Answer& answer)
    {
        std::vector<char> bytes(sizeof answer);
        std::memcpy(bytes.data(), &answer, sizeof answer);
        return bytes;
    }

    /** The answer to a request about the root folder or the filesystem.
     *
     *  @return nothing for an unknown request */
    static std::optional<std::vector<char>> answerTo(uint32_t question)
    {
        if (question == FUSE_INIT)
        {
            fuse_init_out version{};
            version.major = FUSE_KERNEL_VERSION;
            version.minor = FUSE_KERNEL_MINOR_VERSION;
            version.max_write = 4096;
            return encode(version);
        }
        if (question == FUSE_GETATTR)
        {
            fuse_attr_out folder{};
            folder.attr.ino = FUSE_ROOT_ID;
            folder.attr.mode = S_IFDIR | 0755;
            folder.attr.nlink = 2;
            return encode(folder);
        }
        if (question == FUSE_STATFS)
        {
            fuse_statfs_out whole{};
            whole.st.blocks = 100;
            whole.st.bfree = 10;
            whole.st.bavail = 10;
            whole.st.bsize = 4096;
            whole.st.frsize = 4096;
            return encode(whole);
        }
        return {};
    }

    /** Serves requests until the kernel closes the connection. */
    static int serve(int device, const Flag& silent)
    {
        std::vector<char> request(1 << 20);
        for (;;)
        {
            const ssize_t size = read(device, request.data(), request.size());
            if (size < 0 && (errno == EINTR || errno == EPERM))
            {
                // The filesystem is not mounted yet.
                continue;
            }
            if (size < 0)
            {
                return 0;
            }
            fuse_in_header asked{};
            std::memcpy(&asked, request.data(), sizeof asked);
            const bool wantsNone = asked.opcode == FUSE_FORGET ||
                                   asked.opcode == FUSE_BATCH_FORGET ||
                                   asked.opcode == FUSE_INTERRUPT;
            if (!silent && !wantsNone)
            {
                answer(device, asked);
            }
        }
    }

    static void answer(int device, const fuse_in_header& asked)
    {
        const auto content = answerTo(asked.opcode);
        fuse_out_header head{};
        head.unique = asked.unique;
        head.error = content ? 0 : -ENOSYS;
        head.len = sizeof head + (content ? content->size() : 0);
        std::vector<char> whole = encode(head);
        if (content)
        {
            whole.insert(whole.end(), content->begin(), content->end());
        }
        // Fails when the requesting process has gone; that is fine.
        static_cast<void>(!write(device, whole.data(), whole.size()));
    }

    std::filesystem::path at;
    std::unique_ptr<Flag, Unmap> hung;
    std::optional<Child> server;
};

} // namespace healthintf::test
