// SPDX-License-Identifier: Apache-2.0
#include "drivers/photos/FolderPhotoStore.h"

#include "tests/support/Require.h"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <random>

#include "tests/drivers/photos/StoredLibrary.h"

using namespace velmora;
using testing::IsEmpty;

namespace {

constexpr std::size_t identifierLength = 36;

/// What a process said before it was killed: identifiers of photos that were stored.
class Reports {
public:
    Reports() { EXPECT_EQ(pipe(ends_.data()), 0); }
    ~Reports()
    {
        close(ends_[0]);
        close(ends_[1]);
    }
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    void say(const std::string& identifier) const { (void)!::write(ends_[1], identifier.data(), identifierLength); }
    /// All of them, from a process that has ended.
    std::vector<std::string> read()
    {
        close(std::exchange(ends_[1], -1));
        std::vector<std::string> all;
        std::string one(identifierLength, '\0');
        while (::read(ends_[0], one.data(), identifierLength) == static_cast<ssize_t>(identifierLength))
            all.push_back(one);
        return all;
    }

private:
    std::array<int, 2> ends_ { -1, -1 };
};

class KilledProcess : public tests::StoredLibrary {
protected:
    /// Runs `work` in another process and kills that at the `stop`th time that its thread enters or leaves a system
    /// call, counted from when the process stops itself. False when it ended before.
    bool killAtStop(int stop, const std::function<void()>& work)
    {
        const pid_t child = fork();
        if (child == 0) {
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            work();
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        bool counting = false;
        while (WIFSTOPPED(status)) {
            const bool isCall = WSTOPSIG(status) == SIGTRAP;
            if (!isCall && WSTOPSIG(status) == SIGSTOP)
                counting = true;
            if (counting && stop-- == 0) {
                kill(child, SIGKILL);
                waitpid(child, &status, 0);
                return true;
            }
            ptrace(counting ? PTRACE_SYSCALL : PTRACE_CONT, child, nullptr, nullptr);
            waitpid(child, &status, 0);
        }
        return false;
    }
    static bool mayTrace()
    {
        const pid_t child = fork();
        if (child == 0)
            _exit(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : 1);
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    std::string path() const { return folder.file("library"); }
    void begin()
    {
        store.reset();
        std::filesystem::remove_all(path());
    }
    bool has(const std::string& identifier) const
    {
        AssetQuery query;
        query.identifiers = { identifier };
        const auto found = store->assets(query);
        return found.size() == 1 && std::filesystem::file_size(found[0].files[0]) == 2015;
    }
    /// Opens the library that a killed process left.
    void open()
    {
        reopen();
        store->synchronize();
    }
    void expectWhole() const
    {
        EXPECT_THAT(filesThere(true), IsEmpty());
        auto found = names();
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, filesThere());
    }
    static AddAsset photo() { return tests::newPhoto("IMG.jpg", 2000); }
};

}

TEST_F(KilledProcess, AtAnyStepOfAnAdditionLeavesAWholeLibrary)
{
    if (!tests::requirePart("ptrace", mayTrace()))
        return;
    int stop = 0, incomplete = 0;
    for (bool killed = true; killed; ++stop) {
        begin();
        Reports reports;
        killed = killAtStop(stop, [&] {
            Store child(path());
            const auto first = photo();
            child.commit({ AddCollection { "roof", "Roof", false }, first });
            reports.say(first.localIdentifier);
            raise(SIGSTOP);
            const auto second = photo();
            child.commit({ second, AddMember { "roof", second.localIdentifier } });
            reports.say(second.localIdentifier);
            kill(getpid(), SIGKILL); // leaves without closing anything
        });
        const auto stored = reports.read();
        open();
        ASSERT_FALSE(stored.empty());
        for (const auto& identifier : stored)
            EXPECT_TRUE(has(identifier)) << "killed at stop " << stop;
        if (stored.size() == 2) {
            EXPECT_EQ(inAlbum("roof").size(), 1U) << "killed at stop " << stop;
        }
        incomplete += all().size() == 1 ? 1 : 0;
        expectWhole();
        if (HasFailure() || stop > 2000)
            break;
        if (stored.size() == 2)
            killed = false; // it came to its end
    }
    EXPECT_GT(stop, 30);
    EXPECT_GT(incomplete, 5);
}

TEST_F(KilledProcess, AtAnyStepOfARemovalLeavesThePhotoOrNothingOfIt)
{
    if (!tests::requirePart("ptrace", mayTrace()))
        return;
    int removed = 0, kept = 0;
    for (int stop = 0; stop < 2000 && removed < 3; ++stop) {
        begin();
        Reports reports;
        killAtStop(stop, [&] {
            Store child(path());
            const auto only = photo();
            child.commit({ only });
            reports.say(only.localIdentifier);
            raise(SIGSTOP);
            child.commit({ RemoveAsset { only.localIdentifier } });
            reports.say(only.localIdentifier);
            kill(getpid(), SIGKILL);
        });
        const auto reported = reports.read();
        open();
        const bool isThere = !all().empty();
        EXPECT_EQ(isThere, has(reported.at(0))) << "killed at stop " << stop;
        if (reported.size() == 2) {
            EXPECT_FALSE(isThere);
        }
        isThere ? ++kept : ++removed;
        expectWhole();
        if (HasFailure())
            break;
    }
    EXPECT_GT(kept, 10);
    EXPECT_EQ(removed, 3);
}

TEST_F(KilledProcess, AtAnyStepOfTheFirstOpeningLeavesALibraryThatOpens)
{
    if (!tests::requirePart("ptrace", mayTrace()))
        return;
    for (int stop = 0; stop < 2000; stop += 11) {
        begin();
        write("A.jpg", tests::jpegOfSize(1, 1));
        const bool killed = killAtStop(stop, [&] {
            raise(SIGSTOP);
            Store child(path());
            (void)child.assets({});
        });
        open();
        EXPECT_EQ(all().size(), 1U) << "killed at stop " << stop;
        expectWhole();
        if (!killed || HasFailure())
            return;
    }
    ADD_FAILURE() << "the process never ended";
}

TEST_F(KilledProcess, AHundredTimesAtRandomLosesNothingThatWasReported)
{
    std::mt19937 random(20260102);
    std::uniform_int_distribution<long> moments(1, 12000000); // nanoseconds
    std::vector<std::string> stored;
    std::size_t surelyStored = 0;
    for (int round = 0; round < 100; ++round) {
        store.reset();
        Reports reports;
        const long moment = moments(random);
        const int sure = round % 3;
        surelyStored += static_cast<std::size_t>(sure);
        const pid_t child = fork();
        if (child == 0) {
            sigevent event {};
            event.sigev_notify = SIGEV_SIGNAL;
            event.sigev_signo = SIGKILL;
            timer_t timer {};
            timer_create(CLOCK_MONOTONIC, &event, &timer);
            itimerspec when {};
            when.it_value.tv_nsec = moment;
            Store killed(path());
            for (int done = 0;; ++done) {
                if (done == sure) // none: it may still be opening
                    timer_settime(timer, 0, &when, nullptr);
                const auto next = photo();
                killed.commit({ next });
                reports.say(next.localIdentifier);
            }
        }
        int status = 0;
        waitpid(child, &status, 0);
        for (auto& identifier : reports.read())
            stored.push_back(std::move(identifier));
        open();
        ASSERT_GE(all().size(), stored.size()) << "round " << round;
        expectWhole();
        if (HasFailure())
            break;
    }
    for (const auto& identifier : stored)
        EXPECT_TRUE(has(identifier));
    EXPECT_GE(stored.size(), surelyStored);
}
