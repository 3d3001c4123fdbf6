// Private to the Mime sources.
#pragma once

namespace Mime {

/// Must come before any call into GMime; once, from whatever thread comes first.
void initializeGMime();

}  // namespace Mime
