#include "Platform/linux/PlugIn.h"

#include <dlfcn.h>

#include "Platform/Bundle.h"
#include "Platform/Error.h"

namespace PlugIn {

void* function(const std::string& name, const char* symbol) {
  const auto file = Bundle::url() / "Contents/PlugIns" / (name + ".so");
  void* module = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) throw Error(std::string("could not load a part of this program: ") + ::dlerror());
  void* found = ::dlsym(module, symbol);
  if (found == nullptr) throw Error(std::string("could not use a part of this program: ") + ::dlerror());
  return found;
}

}  // namespace PlugIn
