#include "kvsetup/medium_commands.h"

#include <iostream>
#include <memory>

#include "kvsetup/host.h"
#include "kvsetup/medium_keys.h"

namespace {

// What the library calls in each product library; "#101" is an ordinal.
const struct {
    const char* file;
    std::vector<std::string> entries;
} kLibraries[] = {
    {"HSTOOL.DLL",
     {"HstGetBrandNameStringA", "HstGetRegRootStringA", "HstGetRegBaseStringA", "HstSetUserAccountA",
      "IsWindowsVersionOKA"}},
    {"BRAND.dll", {"#101"}},
    {"kvvctl.dll", {"KvvGetVersionA", "KvvGetBuildNumberA"}},
    {"HalvProd.dll", {"HVPGetProductMapInfo", "HVPGetProductComponentCode2A", "HVPGetProductName"}},
    {"ALERTVER.DLL", {"AlGetBuildNumberA"}},
    {"KVCORE.DLL",
     {"QSICreateQueue", "QSIGetQJobItemList", "QSIMapJobStatus", "KVAddQueueJob", "QSIDeleteJob", "KVGetDefaultQueue"}},
    {"KVDCEN.DLL", {"ZKBEncrypt", "ZKBDecrypt"}},
};

int Check(const std::string& folder, const Options& options) {
    std::string problem;
    const std::string medium = host::MachinePath(folder, true, &problem);
    if (medium.empty()) throw Failure{kBadInput, problem};
    const std::string file = host::HostPath(medium + "SETUP.INF");
    std::vector<profile_check::Finding> findings = profile_check::Check(profile_check::ReadFile(file), MediumKeys());
    Json libraries = Json::object();
    for (const auto& library : kLibraries) {
        std::vector<std::string> missing;
        const DWORD error = host::MissingEntryPoints(medium + library.file, library.entries, &missing);
        libraries[library.file] = {{"loads", error == 0}, {"missing", missing}};
        if (error != 0)
            findings.push_back({0, true, false,
                                std::string("the library ") + library.file +
                                    " is missing or cannot be loaded: " + host::ErrorText(error)});
        for (const std::string& entry : missing)
            findings.push_back({0, true, false, std::string("the library ") + library.file + " lacks " + entry});
    }
    return profile_check::Report(file, findings, options.json, Json{{"libraries", libraries}});
}

}  // namespace

void AddMediumCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run) {
    CLI::App* const group = app.add_subcommand("medium", "installation media");
    group->require_subcommand(1);
    const auto folder = std::make_shared<std::string>();
    CLI::App* const check = group->add_subcommand("check", "look SETUP.INF and the product libraries through");
    check->add_option("folder", *folder, "folder of the medium")->required();
    check->add_flag("--json", options.json, "print data as JSON");
    check->callback([&run, folder] { run = [folder](const Options& given) { return Check(*folder, given); }; });
    const auto markdown = std::make_shared<bool>(false);
    CLI::App* const keys = group->add_subcommand("keys", "print the table of keys")->group("");
    keys->add_flag("--markdown", *markdown, "as Markdown, which it is in any case");
    keys->callback([&run, &options, markdown] {
        options.needsMachine = false;
        run = [](const Options&) {
            std::cout << profile_check::Markdown(MediumKeys());
            return int(kDone);
        };
    });
}
