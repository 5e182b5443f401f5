// Upgrades: the question alone, and the whole way from the question to the restored settings. Whatever fails, the last
// line says what state the machine is in and how to go on.
#include <chrono>
#include <condition_variable>
#include <iostream>
#include <mutex>
#include <thread>

#include "instalib/computer.h"
#include "instalib/upgrade.h"
#include "kvsetup/record_commands.h"
#include "kvsetup/recorded_run.h"
#include "kvsetup/running_programs.h"
#include "kvsetup/setup_checks.h"
#include "kvsetup/setup_run.h"
#include "kvsetup/stages.h"
#include "kvsetup/watch.h"

namespace {

enum Answer { kAllowed = 0, kRefused = 1, kNotInstalled = 2, kSameBuild = 3, kVanished = -1 };

const char* InWords(int answer) {
    switch (answer) {
        case kAllowed:
            return "the installed product may be upgraded";
        case kNotInstalled:
            return "the product is not installed";
        case kSameBuild:
            return "this version and build is installed already";
        case kVanished:
            return "the product is not registered any more";
        default:
            return "the installed product may not be upgraded";
    }
}

Json VersionOf(CProduct& product) {
    return VersionText(product.getVersionNo()) + " build " + std::to_string(product.getBuildNo());
}

Json DescribeCheck(CUpgradeCheck& check, const std::string& product, const std::string& target) {
    const bool found = check.GetResult() != kNotInstalled && check.GetResult() != kVanished;
    Json facts;
    facts["product"] = product;
    facts["machine"] = target.empty() ? "this one" : target;
    facts["answer"] = InWords(check.GetResult());
    facts["result"] = check.GetResult();
    facts["installed"] = found ? VersionOf(check.GetOld()) : Json();
    facts["new"] = check.GetResult() != kNotInstalled ? VersionOf(check.GetNew()) : Json();
    facts["decided by"] = check.GetReason();
    return facts;
}

// Says every few seconds that the removal goes on, for as long as it lives.
class Progress {
  public:
    explicit Progress(bool quiet) {
        if (!quiet) m_thread = std::thread([this] { Tell(); });
    }
    ~Progress() {
        {
            const std::lock_guard lock(m_mutex);
            m_over = true;
        }
        m_ended.notify_all();
        if (m_thread.joinable()) m_thread.join();
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

  private:
    void Tell() {
        std::unique_lock lock(m_mutex);
        std::cout << "Removing the old product; this takes a while" << std::endl;
        for (unsigned seconds = 5; !m_ended.wait_for(lock, std::chrono::seconds(5), [this] { return m_over; });
             seconds += 5) {
            std::cout << "  still removing, " << seconds << " seconds" << std::endl;
        }
    }
    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_over = false;
    std::thread m_thread;
};

std::string BackupPath() { return "HKEY_LOCAL_MACHINE\\" + std::string(CUpgradeBackup::Path()); }

// A backup that stands already belongs to an upgrade that did not come to its end. True: go on with it.
bool ResumesStaleBackup(const Options& options) {
    if (!CUpgradeBackup::Exists()) return false;
    bool resume = options.resume;
    if (!options.resume && !options.discard) {
        const std::string found = "an earlier upgrade left its backup in " + BackupPath();
        if (options.yes || options.json || !options.answers.empty() || !host::IsTerminal(host::Stream::Input)) {
            throw Failure{kCancelled, found + "; run with --resume to go on with it, or with --discard to delete it"};
        }
        console::Warn(found);
        resume = Require(console::AskYesNo("Go on with it (no: start afresh without it)", true));
        if (!resume && !Require(console::AskYesNo("Delete it, with all settings in it", false))) {
            throw Failure{kCancelled, "cancelled; the backup stands as it was"};
        }
    }
    if (!resume && !CUpgradeBackup::Discard()) {
        throw Failure{kFailed,
                      "the backup in " + BackupPath() + " cannot be deleted: " + host::ErrorText(host::LastError())};
    }
    return resume;
}

struct Upgrade {
    const Options& options;
    Session& session;
    std::string product;
    Json& report;

    [[noreturn]] void Fail(const std::string& what, const std::string& state) {
        session.Log("Upgrade failed: " + what);
        throw Failure{kFailed, what + ". " + state};
    }

    // Saves the settings, on a record of its own that ends before the removal begins: what stands in it is safe from
    // then on, and nothing takes it back any more. The code of the product that is to be removed.
    std::string Save() {
        CString code;
        std::string problem = "Correct the cause and run the upgrade again";
        const std::vector<Stage> stages = {
            {"Save the old product's settings", [](StageContext&) { return true; },
             [&](StageContext&, std::string& note) { return SaveSettings(code, note, problem); }}};
        CHalvRegistry registry(session.settings, 0, nullptr);
        StageContext context{session, registry};
        RecordedRun run(session, options, "upgrade-save", false);
        const bool saved = run.Stages(stages, context, false, report) && run.Complete();
        if (!saved) run.TakeBack(context, report, "Nothing was removed; the old product works as before. " + problem);
        run.Forget();
        return std::string(code);
    }

    bool SaveSettings(CString& code, std::string& note, std::string& problem) {
        if (!KSetBKOldProduct(session.source.c_str(), product.c_str(), code, nullptr)) return false;
        session.Log("Settings saved in " + BackupPath());
        CArray<CString, CString> lost;
        if (CUpgradeBackup::HoldsAll(session.source.c_str(), product.c_str(), nullptr, lost)) return true;
        ReportLoss(lost);
        note = std::to_string(lost.GetSize()) + " settings are not in the backup; " + session.log + " names them";
        problem = "Run the upgrade with --accept-loss to go on without them";
        return options.acceptLoss;
    }

    void ReportLoss(CArray<CString, CString>& lost) {
        constexpr int kShown = 10;
        for (int i = 0; i < lost.GetSize(); ++i) {
            const std::string entry(lost.ElementAt(i));
            report["lost"].push_back(entry);
            session.Log("Not saved: " + entry);
            if (i < kShown) console::Warn("not saved: " + entry);
        }
    }

    void Remove(const std::string& code) {
        const bool isCommand = !options.uninstaller.empty();
        const std::string subject = isCommand ? options.uninstaller : code;
        int started = 0;
        DWORD error = 0;
        {
            const Progress progress(!session.prints);
            started = KSetUninstallOldProd(subject.c_str(), isCommand, nullptr);
            error = host::LastError();
        }
        const std::string goOn = "The settings are safe in " + BackupPath() + "; run the upgrade with --resume";
        if (!started)
            Fail("the removal could not be started: " + host::ErrorText(error),
                 "The old product is still installed. " + goOn);
        if (CUpgradeBackup::IsStillInstalled(code.c_str())) {
            Fail("the old product is still installed after its removal", "It may be incomplete. " + goOn);
        }
        session.Log("Old product " + code + " removed");
        report["removed"] = code;
    }

    // The new product and the old settings, on one record.
    void Install() {
        std::vector<Stage> stages = InstallStages();
        stages.push_back({"Restore the old product's settings", [](StageContext&) { return CUpgradeBackup::Exists(); },
                          [&](StageContext&, std::string& note) {
                              KSetRSOldProdRegKey();
                              report["restored"] = !CUpgradeBackup::Exists();
                              if (CUpgradeBackup::Exists()) note = "not all settings could be restored";
                              return !CUpgradeBackup::Exists();
                          }});
        CHalvRegistry registry(session.settings, 0, nullptr);
        StageContext context{session, registry};
        const bool keepGoing = session.settings.IgnoreErrors() != 0;
        RecordedRun run(session, options, "upgrade", options.keep || keepGoing);
        if (run.Stages(stages, context, keepGoing, report) && run.Complete()) return;
        std::string state;
        if (CUpgradeBackup::Exists())
            state = "The old settings are safe in " + BackupPath() + "; run the upgrade with --resume";
        run.TakeBack(context, report, state);
        throw Failure{kFailed, "The new product is not complete; what was done is in " + session.log + ". " + state};
    }
};

}  // namespace

int UpgradeCheckCommand(const Options& options) {
    WarnAboutUnfinished();
    std::string problem;
    const std::string folder = host::MachinePath(options.source, true, &problem);
    if (folder.empty()) throw Failure{kBadInput, problem};
    if (!CComputer::PathExists((folder + "SETUP.INF").c_str())) {
        throw Failure{kBadInput,
                      "there is no SETUP.INF in " + folder + "; give the folder of the medium with --source"};
    }
    host::RunFromMedium(folder);
    CUpgradeCheck check(folder.c_str(), options.product.c_str(),
                        options.target.empty() ? nullptr : options.target.c_str());
    const Json facts = DescribeCheck(check, options.product, options.target);
    options.json ? console::PrintJson(facts) : console::PrintFacts(facts);
    return check.GetResult() == kAllowed ? kDone : kNothingToDo;
}

namespace {

int RunUpgrade(const Options& options) {
    if (!options.yes && options.answers.empty() && (options.json || !host::IsTerminal(host::Stream::Input))) {
        throw Failure{kCancelled, "there is nobody to ask; run with --yes or --answers"};
    }
    const host::SetupLock lock(options.wait);
    RequireHeld(lock);
    RequireAdministrator();
    records::TakeBackUnfinished(options.json || options.quiet);
    std::unique_ptr<Session> session = OpenSession(options, false);
    const std::string product = options.product.empty() ? session->productId : options.product;
    const bool resumes = ResumesStaleBackup(options);
    CUpgradeCheck check(session->source.c_str(), product.c_str(), nullptr);
    Json report{{"upgrade", DescribeCheck(check, product, "")}};
    if (session->prints) console::PrintFacts(report);
    const int answer = check.GetResult();
    if (answer == kRefused || (answer == kSameBuild && !resumes)) {
        throw Failure{kNothingToDo, std::string(InWords(answer)) + ": " + check.GetReason() +
                                        (resumes ? "; the backup stands in " + BackupPath() : "")};
    }
    if (answer == kNotInstalled && !resumes) {
        throw Failure{kNothingToDo, product + " is not installed; use kvsetup install"};
    }
    WarnAboutAnswers(*session);
    checks::Require(*session, checks::OfInstallation(*session));
    Confirm(options, *session, "Upgrade now");
    CloseRunningPrograms(options, !options.yes && options.answers.empty(), *session);
    session->Log("Upgrade of " + product + " from " + session->source);
    if (answer == kAllowed) {
        Upgrade before{options, *session, product, report};
        before.Remove(before.Save());
        session = OpenSession(options, false);  // the machine is another one now
    }
    // Also where the new product is registered already: an upgrade that is resumed may have ended in the middle of it.
    Upgrade{options, *session, product, report}.Install();
    return Finish(*session, report, true, "Upgrade");
}

}  // namespace

int UpgradeCommand(const Options& options) { return RunWatched(options, false, RunUpgrade); }
