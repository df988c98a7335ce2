#include "cli/commands.h"
#include "cli/host_session.h"
#include "cli/text_format.h"
#include "root/od_rx_class.h"

#include <iostream>

namespace zemhost {

namespace {

Json classJson(OdRxClass const& cls)
{
    Json json;
    json["name"] = toUtf8(cls.name());
    json["base"] = cls.parent() != nullptr ? Json(toUtf8(cls.parent()->name())) : Json();
    json["dwgVersion"] = cls.dwgVersion();
    json["maintenanceVersion"] = cls.maintenanceVersion();
    json["proxyFlags"] = cls.proxyFlags();
    json["dxfName"] = toUtf8(cls.dxfName());
    json["application"] = toUtf8(cls.appName());
    return json;
}

Json classList(std::vector<OdRxClass*> const& classes)
{
    Json list = Json::array();
    for (OdRxClass const* cls : classes) {
        list.push_back(classJson(*cls));
    }
    return list;
}

void printClass(std::size_t number, Json const& cls)
{
    std::cout << std::string(number < 10 ? " " : "") << number << "  "
              << cls["name"].get<std::string>();
    if (!cls["base"].is_null()) {
        std::cout << " : " << cls["base"].get<std::string>();
    }
    std::cout << '\n';
    if (!cls["dxfName"].get_ref<std::string const&>().empty()) {
        std::cout << "    " << cls["dxfName"].get<std::string>() << ", drawing version "
                  << cls["dwgVersion"] << " release " << cls["maintenanceVersion"]
                  << ", proxy flags " << cls["proxyFlags"];
        if (!cls["application"].get_ref<std::string const&>().empty()) {
            std::cout << ", \"" << cls["application"].get<std::string>() << '"';
        }
        std::cout << '\n';
    }
}

void printClasses(std::string const& title, Json const& classes)
{
    std::cout << title << ", " << counted(classes.size(), "class") << '\n';
    std::size_t number = 0;
    for (Json const& cls : classes) {
        printClass(++number, cls);
    }
}

}  // namespace

ExitCode runClasses(HostSession& session, ClassesRequest const& request)
{
    Json answer;
    answer["module"] = session.hasModule() ? Json(session.modulePath()) : Json();
    if (request.all || !session.hasModule()) {
        answer["platformClasses"] = classList(session.platformClasses());
    }
    answer["moduleClasses"] = classList(session.moduleClasses());
    if (request.json) {
        std::cout << toText(answer, 2) << '\n';
        return ExitCode::kOk;
    }
    if (answer.contains("platformClasses")) {
        printClasses("platform", answer["platformClasses"]);
    }
    if (session.hasModule()) {
        printClasses("module " + printable(session.modulePath()), answer["moduleClasses"]);
    }
    return ExitCode::kOk;
}

}  // namespace zemhost
