// Random UUIDs by libuuid, which draws them from the kernel.
#include "Platform/Uuid.h"

#include <uuid/uuid.h>

namespace Uuid {

std::string random() {
  uuid_t bytes;
  uuid_generate_random(bytes);
  char text[UUID_STR_LEN];
  uuid_unparse_upper(bytes, text);
  return text;
}

std::string shortId() { return random().substr(0, 8); }

}  // namespace Uuid
