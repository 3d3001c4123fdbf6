#include "Platform/linux/timers/JobEnvironment.h"

#include <initializer_list>

#include "Platform/Environment.h"
#include "Platform/Error.h"
#include "Platform/Text.h"

namespace {

JobEnvironment::Variables those(std::initializer_list<const char*> names) {
  JobEnvironment::Variables variables;
  for (const char* name : names) {
    const auto value = Environment::value(name);
    if (!value) continue;
    if (!Text::isValidUTF8(*value)) throw Error(std::string("the variable ") + name + " isn't UTF-8");
    variables[name] = *value;
  }
  return variables;
}

}  // namespace

JobEnvironment::Variables JobEnvironment::places() {
  return those({"HOME", "TAVRO_HOME", "TAVRO_DESKTOP", "TAVRO_PLATFORM_BIN", "XDG_DATA_HOME", "XDG_CONFIG_HOME",
                "SSL_CERT_FILE", "SSL_CERT_DIR", "TERMINAL"});
}

JobEnvironment::Variables JobEnvironment::habits() {
  return those({"PATH", "USER", "LOGNAME", "SHELL", "LANG", "LC_ALL", "LC_CTYPE", "TZ", "TMPDIR"});
}

JobEnvironment::Variables JobEnvironment::session() {
  return those({"DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS"});
}
