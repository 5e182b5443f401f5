#include <iostream>

#include "instalib/installed_products.h"
#include "instalib/registry.h"
#include "kvsetup/console.h"
#include "kvsetup/family_services.h"
#include "kvsetup/host.h"
#include "kvsetup/options.h"
#include "kvsetup/record_commands.h"
#include "kvsetup/session.h"

namespace {

Json DescribeProducts(const CProductGeneration& generation) {
    Json products = Json::array();
    for (int i = 0; i < generation.m_Products.GetSize(); ++i) {
        const CInstalledProduct product = generation.m_Products.GetAt(i);
        products.push_back({{"name", static_cast<const char*>(product.m_sName)},
                            {"version", VersionText(product.m_Record.wVersion)},
                            {"build", product.m_Record.wBuild},
                            {"subtype", static_cast<int>(product.m_Record.cSubType)},
                            {"code", product.m_Record.dwProductCode},
                            {"user level", product.m_Record.dwUserLevel}});
    }
    return products;
}

Json DescribeGeneration(const CProductGeneration& generation) {
    Json data;
    data["generation"] = static_cast<const char*>(generation.m_sName);
    data["products"] = DescribeProducts(generation);
    const struct {
        const char* label;
        const CString& text;
    } texts[] = {{"home", generation.m_sHomeDir},
                 {"database", generation.m_sDBDir},
                 {"log", generation.m_sLogDir},
                 {"temp", generation.m_sTempDir},
                 {"client agent", generation.m_sAgentHomeDir},
                 {"registered user", generation.m_sUser},
                 {"registered company", generation.m_sCompany}};
    for (const auto& [label, text] : texts)
        data[label] = text.IsEmpty() ? Json() : Json(static_cast<const char*>(text));
    Json components = Json::array();
    for (int i = 0; i < generation.m_Components.GetSize(); ++i) {
        components.push_back(static_cast<const char*>(generation.m_Components.GetAt(i)));
    }
    data["components"] = components;
    return data;
}

Json DescribeAlert() {
    CHalvRegistry registry;
    const std::string home = registry.GetAlertHomeDir();
    if (home.empty()) return Json();
    return Json{{"home", home}, {"build", registry.GetAlertBuildNumber()}};
}

Json DescribeServices() {
    Json services = Json::array();
    for (const CService& service : AllFamilyServices()) {
        if (!service.Exists()) continue;
        services.push_back({{"service", service.Name()}, {"state", service.IsStarted() ? "started" : "stopped"}});
    }
    return services;
}

void PrintGeneration(Json generation) {
    std::cout << console::Printable(generation["generation"].get<std::string>()) << '\n';
    const Json products = std::move(generation["products"]);
    generation.erase("generation");
    generation.erase("products");
    for (const Json& product : products) {
        std::cout << "  " << console::Printable(product["name"].get<std::string>()) << ' '
                  << product["version"].get<std::string>() << " build " << product["build"] << ", subtype "
                  << product["subtype"] << '\n';
    }
    console::PrintFacts(generation, 2);
}

}  // namespace

int StatusCommand(const Options& options) {
    WarnAboutUnfinished();
    const CInstalledProducts installed;
    Json data{{"generations", Json::array()}, {"alert", DescribeAlert()}, {"services", DescribeServices()}};
    for (int i = 0; i < installed.GetCount(); ++i)
        data["generations"].push_back(DescribeGeneration(installed.GetAt(i)));
    // What cannot be looked into may hold anything.
    const std::string root = static_cast<const char*>(CHalvRegistry::GetKorvaultKey());
    const bool isSeen = host::LookForKey(root) != host::Presence::Unknown;
    const DWORD error = host::LastError();
    if (options.json) console::PrintJson(data);
    if (!isSeen) throw Failure{kNotAllowed, root + " may not be seen: " + host::ErrorText(error)};
    const bool isNothing = data["generations"].empty() && data["alert"].is_null() && data["services"].empty();
    if (isNothing) throw Failure{kNothingToDo, "no product of the family is installed on this machine"};
    if (options.json) return kDone;
    for (const Json& generation : data["generations"]) PrintGeneration(generation);
    if (!data["alert"].is_null()) console::PrintFacts(Json{{"Alert component", data["alert"]}});
    for (const Json& service : data["services"]) {
        std::cout << "Service " << console::Printable(service["service"].get<std::string>()) << ": "
                  << service["state"].get<std::string>() << '\n';
    }
    return kDone;
}
