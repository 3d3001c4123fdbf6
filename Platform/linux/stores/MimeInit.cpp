#include "Platform/linux/stores/MimeInit.h"

#include <gmime/gmime.h>

#include <mutex>

void Mime::initializeGMime() {
  static std::once_flag once;
  std::call_once(once, g_mime_init);
}
