#include "Platform/linux/stores/MimeSource.h"

#include <fcntl.h>
#include <gmime/gmime.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <utility>

#include "Platform/Files.h"
#include "Platform/linux/stores/MimeInit.h"

namespace {

struct FilterUnref {
  void operator()(GMimeFilter* filter) const { g_object_unref(filter); }
};
using Filter = std::unique_ptr<GMimeFilter, FilterUnref>;

/// Null where the bytes stand as they are.
Filter decoder(const std::string& encoding) {
  Mime::initializeGMime();
  const auto known = g_mime_content_encoding_from_string(encoding.c_str());
  const bool encodes = known == GMIME_CONTENT_ENCODING_BASE64 || known == GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE ||
                       known == GMIME_CONTENT_ENCODING_UUENCODE;
  return Filter(encodes ? g_mime_filter_basic_new(known, FALSE) : nullptr);
}

std::string_view filtered(GMimeFilter& filter, char* bytes, std::size_t size, bool isLast) {
  char* out = nullptr;
  std::size_t outSize = 0, before = 0;
  const auto step = isLast ? g_mime_filter_complete : g_mime_filter_filter;
  step(&filter, bytes, size, 0, &out, &outSize, &before);
  return {out, outSize};
}

}  // namespace

Mime::Source::Source(std::filesystem::path file) : file_(std::move(file)) {
  descriptor_ = open(file_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);  // a pipe isn't waited for
  if (descriptor_ < 0) throw FileFailure("open", file_, errno);
  struct stat entry {};
  const int error = fstat(descriptor_, &entry) != 0 ? errno : S_ISREG(entry.st_mode) ? 0 : EINVAL;
  if (error != 0) {
    close(descriptor_);
    throw FileFailure("read", file_, error);
  }
  size_ = static_cast<std::uint64_t>(entry.st_size);
}

Mime::Source::~Source() { close(descriptor_); }

std::size_t Mime::Source::read(std::uint64_t offset, char* bytes, std::size_t size) const {
  std::size_t done = 0;
  while (done < size) {
    const auto count = pread(descriptor_, bytes + done, size - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw FileFailure("read", file_, errno);
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

std::string Mime::Source::read(std::uint64_t begin, std::uint64_t end) const {
  std::string bytes(end - begin, '\0');
  bytes.resize(read(begin, bytes.data(), bytes.size()));
  return bytes;
}

void Mime::decode(const Source& source, const Body& body, const std::function<bool(std::string_view)>& take) {
  const auto filter = decoder(body.encoding);
  std::array<char, 64 * 1024> piece;
  for (auto at = body.begin; at < body.end;) {
    const auto size = source.read(at, piece.data(), std::min<std::uint64_t>(piece.size(), body.end - at));
    if (size == 0) break;
    at += size;
    if (!take(filter ? filtered(*filter, piece.data(), size, false) : std::string_view(piece.data(), size))) return;
  }
  if (!filter) return;
  // GMime keeps back the last bytes of base64 that isn't padded; more padding than needed does no harm.
  std::string padding =
      g_mime_content_encoding_from_string(body.encoding.c_str()) == GMIME_CONTENT_ENCODING_BASE64 ? "===" : "";
  take(filtered(*filter, padding.data(), padding.size(), true));
}
