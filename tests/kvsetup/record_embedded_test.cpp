// Whatever call of a setup fails, and wherever it is killed: the machine is as it was before.
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>

#include "instalib/service.h"
#include "tests/kvsetup/kept_machine.h"

namespace fs = std::filesystem;

namespace {

// All calls with INSTALIB_EVERY_CALL=1, some with INSTALIB_EVERY_CALL=FIRST-LAST; else a part of them, spread over the
// whole run.
#ifdef __SANITIZE_ADDRESS__
constexpr unsigned kStride = 389, kUpgradeThinning = 2;  // where each run takes several times as long
#else
constexpr unsigned kStride = 97, kUpgradeThinning = 4;
#endif

class SetupOnRecord : public KeptMachine {
  protected:
    void TearDown() override {
        unsetenv("INSTALIB_TEST_FAULT");
        KeptMachine::TearDown();
    }
    RunResult RunWith(const std::string& fault, const std::string& arguments) {
        setenv("INSTALIB_TEST_FAULT", fault.c_str(), 1);
        setenv("LD_PRELOAD", (HostProgramFolder() / "libfault_preload.so").c_str(), 1);
        // The sanitizer wants to be first; it is in the program all the same.
        setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 0);
        const RunResult result = Run(arguments);
        unsetenv("LD_PRELOAD");
        unsetenv("INSTALIB_TEST_FAULT");
        return result;
    }
    unsigned CallsOf(const std::string& arguments) {
        const fs::path file = Scratch() / "count.txt";
        const RunResult result = RunWith("count " + file.string(), arguments);
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        unsigned count = 0;
        std::ifstream(file) >> count;
        return count;
    }
    // Without what differs from run to run; an account that was made again has another identifier.
    static Lines Lasting(Lines lines) {
        std::erase_if(lines, [](const std::string& line) {
            return line.find("InstallDate") != line.npos || line.find("\"Verifier\"") != line.npos ||
                   line.find("KVSETUP.") != line.npos || line.ends_with("[META\\Files]") ||
                   line.ends_with("[META\\Files\\C]");
        });
        static const std::regex identifier("([-\\\\])10[0-9][0-9]\\b|000003e[0-9a-f]|e[0-9a-f],03,00,00");
        for (std::string& line : lines) line = std::regex_replace(line, identifier, "$1N");
        std::sort(lines.begin(), lines.end());
        return lines;
    }
    // What has changed is what a whole run changes.
    void ExpectWhole(const Lines& whole, const std::string& message) {
        const Lines changed = Lasting(Changed()), wanted = Lasting(whole);
        Lines other;
        std::set_symmetric_difference(changed.begin(), changed.end(), wanted.begin(), wanted.end(),
                                      std::back_inserter(other));
        EXPECT_THAT(other, testing::IsEmpty()) << message;
    }
    // Once for every n, or for every `thinning`-th where only a part is tried: `fault` at the n-th call of `arguments`,
    // on the machine as it is now. A run that succeeded has done the whole of it: nothing is missing, nothing is left
    // behind. `failed` looks at the others.
    template <class Failed>
    void ForEveryRun(const std::string& fault, const std::string& arguments, Failed failed, unsigned thinning = 1) {
        Keep();
        const unsigned calls = CallsOf(arguments);
        ASSERT_GT(calls, 500u);
        const Lines whole = Changed();
        ASSERT_FALSE(whole.empty());
        const char* const every = std::getenv("INSTALIB_EVERY_CALL");
        unsigned first = 1, last = calls;
        if (every != nullptr) std::sscanf(every, "%u-%u", &first, &last);
        const unsigned step = every != nullptr ? 1 : kStride * thinning;
        for (unsigned n = first; n <= last && (step == 1 || !HasFailure()); n += step) {
            Restore();
            const RunResult result = RunWith(fault + " " + std::to_string(n), arguments);
            SCOPED_TRACE(fault + " " + std::to_string(n) + "\n" + result.output + result.errors);
            if (result.exitCode == 0) {
                ExpectWhole(whole, "a run that succeeded");
            } else {
                failed(result, n > calls - calls / 4, whole);
            }
        }
        Restore();
    }
    // The same; a run that failed has left the machine as it was.
    void ForEveryCall(const std::string& fault, const std::string& arguments) {
        unsigned takenBack = 0;
        ForEveryRun(fault, arguments, [&](const RunResult& result, bool isLate, const Lines&) {
            const RunResult recovered = Run("recover --yes");
            // Behind the very last change of a removal there is only its end: a deleted account stays deleted.
            const bool atTheEnd = recovered.output.find("Left: account") != std::string::npos ||
                                  result.output.find("Delete the system account ") != std::string::npos;
            if (atTheEnd && isLate) return;
            EXPECT_TRUE(recovered.exitCode == 0 || recovered.exitCode == 6) << recovered.output << recovered.errors;
            takenBack += recovered.exitCode == 0;
            // Killed behind the end of an installation: it is complete, and known to be.
            if (fault == "exit" && recovered.exitCode == 6 && result.output.find("[10/10] ") != std::string::npos) {
                EXPECT_EQ(Run("undo --yes").exitCode, 0);
            }
            EXPECT_THAT(Changed(), testing::IsEmpty()) << recovered.output;
        });
        // A failing call of the taking back itself leaves something to recover, too; a repair is too short to be hit.
        if (fault == "exit" && arguments != "repair") {
            EXPECT_GT(takenBack, 0u);
        }
    }
    // The same of an upgrade: it is taken back as long as the old product is there, and gone on with when it is not.
    void ForEveryCallOfAnUpgrade(const std::string& fault) {
        PlantOldProduct();
        unsigned takenBack = 0, goneOn = 0;
        const auto failed = [&](const RunResult&, bool, const Lines& whole) {
            const RunResult recovered = Run("recover --yes");
            if (Changed().empty()) {
                ++takenBack;
                return;
            }
            EXPECT_FALSE(KeyExists(kOldRoot)) << recovered.output;
            const RunResult resumed = Run(Upgrade("--resume"));
            EXPECT_EQ(resumed.exitCode, 0) << recovered.output << resumed.output << resumed.errors;
            ExpectWhole(whole, resumed.output);
            ++goneOn;
        };
        ForEveryRun(fault, Upgrade(), failed, kUpgradeThinning);
        // Few calls that fail fail the upgrade; a killed one never comes to its end.
        EXPECT_GT(takenBack, 0u);
        EXPECT_TRUE(goneOn > 0 || fault == "fail");
    }
};

TEST_F(SetupOnRecord, AnInstallationOfWhichACallFailsIsTakenBack) { ForEveryCall("fail", BatchInstall()); }
TEST_F(SetupOnRecord, AKilledInstallationIsTakenBack) { ForEveryCall("exit", BatchInstall()); }
TEST_F(SetupOnRecord, ARemovalOfWhichACallFailsIsTakenBack) {
    ASSERT_EQ(Run(BatchInstall()).exitCode, 0);
    ForEveryCall("fail", "uninstall --yes " + Source());
}
TEST_F(SetupOnRecord, AKilledRemovalIsTakenBack) {
    ASSERT_EQ(Run(BatchInstall()).exitCode, 0);
    ForEveryCall("exit", "uninstall --yes " + Source());
}

TEST_F(SetupOnRecord, AnUpgradeOfWhichACallFailsIsTakenBackOrGoneOnWith) { ForEveryCallOfAnUpgrade("fail"); }
TEST_F(SetupOnRecord, AKilledUpgradeIsTakenBackOrGoneOnWith) { ForEveryCallOfAnUpgrade("exit"); }
TEST_F(SetupOnRecord, ARepairIsWholeOrTakenBack) {
    ASSERT_EQ(Run(BatchInstall()).exitCode, 0);
    SetText("SOFTWARE\\Classes\\.asx", "", "foreign");
    DeleteKeyTree("SOFTWARE\\Orvanex\\Zephranite Korvault Backup\\Base\\SNMP");
    CService::RemoveService("OVSMsgEngine");
    ForEveryCall("fail", "repair");
    ForEveryCall("exit", "repair");
}

// Ctrl+C, a console that is gone, a shutdown: the setup takes everything back itself.
TEST_F(SetupOnRecord, ASignalTakesEverythingBack) {
    Keep();
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(Run(BatchInstall()).exitCode, 0);
    const auto whole = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    constexpr int kMoments = 10;
    int cancelled = 0;
    for (const int signal : {SIGINT, SIGHUP, SIGTERM}) {
        for (int moment = 1; moment < kMoments; ++moment) {
            Restore();
            const int milliseconds = static_cast<int>(whole.count()) * moment / kMoments;
            const int code = RunAndSignal(BatchInstall(), milliseconds, signal);
            if (code == 0) break;  // it was through by then
            // Before the front end listens, and changes anything, it just ends.
            EXPECT_TRUE(code == 4 || code == -signal) << code << " at " << milliseconds;
            cancelled += code == 4;
            EXPECT_THAT(Changed(), testing::IsEmpty()) << signal << " at " << milliseconds;
            EXPECT_EQ(Run("recover --yes").exitCode, 6);
        }
    }
    EXPECT_GE(cancelled, 3);
}

TEST_F(SetupOnRecord, AFinishedInstallationIsUndoneAndAnInterruptedOneGoneOnWith) {
    Keep();
    ASSERT_EQ(Run(BatchInstall()).exitCode, 0);
    const RunResult undone = Run("undo --yes");
    EXPECT_EQ(undone.exitCode, 0) << undone.output << undone.errors;
    EXPECT_THAT(Changed(), testing::IsEmpty());
    EXPECT_EQ(Run("undo --yes").exitCode, 6);
    EXPECT_EQ(Run("recover --yes").exitCode, 6);
    EXPECT_EQ(Run(BatchInstall() + " --resume").exitCode, 6);
    const unsigned calls = CallsOf(BatchInstall());
    ASSERT_EQ(Run("undo --yes").exitCode, 0);
    RunWith(std::string("exit ") + std::to_string(calls - calls / 4), BatchInstall());
    EXPECT_THAT(Run("status").errors, testing::HasSubstr("a setup was interrupted (install "));
    const RunResult resumed = Run(BatchInstall() + " --resume");
    EXPECT_EQ(resumed.exitCode, 0) << resumed.output << resumed.errors;
    EXPECT_THAT(resumed.output, testing::HasSubstr("done (by the run before)"));
    EXPECT_EQ(Run("undo --yes").exitCode, 0);
    EXPECT_THAT(Changed(), testing::IsEmpty());
}

}  // namespace
