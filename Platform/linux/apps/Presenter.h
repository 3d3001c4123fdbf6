// Shows files to the person at the screen, with the programs that their desktop has for it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Presenter {

/// Shows the files, selected, in the file manager: through org.freedesktop.FileManager1 on the session
/// bus, or by opening their folder where no file manager answers there. Throws ScriptError -10000 when
/// there is nothing to show them with.
void reveal(const std::vector<std::filesystem::path>& files);

/// Opens the file or folder with the person's usual program for it (xdg-open). Throws as `reveal`.
void open(const std::filesystem::path& file);

/// file:///home/ann/a%20b.txt
std::string uri(const std::filesystem::path& file);

}  // namespace Presenter
