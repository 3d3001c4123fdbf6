// The entry in a client's own configuration file. The file is the owner's and holds their tokens: whatever can't be
// kept is refused, and no copy may be open to more people than the file itself.
#include <gtest/gtest.h>

#include "Platform/Json.h"
#include "TavroCore/automations/MCPConfigWriter.h"
#include "tests/harness/Home.h"

namespace {

using MCPConfigWriter::Result;

struct MCPConfigWriterTest : HomeTest {
  const std::filesystem::path json = user / "new/client.json", toml = user / "client.toml";

  static auto mode(const std::filesystem::path& file) { return std::filesystem::status(file).permissions(); }
  static std::string backup(const std::filesystem::path& file) { return read(file.string() + ".tavro-backup"); }
};

TEST_F(MCPConfigWriterTest, addsToJsonAndKeepsTheRest) {
  EXPECT_FALSE(MCPConfigWriter::jsonHasServer(json));
  EXPECT_EQ(MCPConfigWriter::mergeJSON(json, "/old"), Result::added);
  EXPECT_EQ(mode(json), std::filesystem::perms(0600));
  EXPECT_EQ(backup(json), "(no file)");

  const std::string text =
      R"({"z": [1.5, -7, 18446744073709551615, "é\u0000"], "mcpServers": {"tavro": {"command": "/old", "args": ["x"]},
          "other": {"env": {"TOKEN": "t"}}}, "a": null})";
  write(json, text);
  Files::setMode(json, 0640);
  write(json.string() + ".tavro-backup", "older");  // and open to everybody
  EXPECT_EQ(MCPConfigWriter::mergeJSON(json, "/b/\"tavro\""), Result::updated);
  Json expected = Json::parse(text);
  expected["mcpServers"]["tavro"] = {{"command", "/b/\"tavro\""}};
  EXPECT_EQ(read(json), expected.dump(2));
  EXPECT_EQ(backup(json), text);
  EXPECT_EQ(mode(json), std::filesystem::perms(0640));
  EXPECT_EQ(mode(json.string() + ".tavro-backup"), std::filesystem::perms(0640));
  EXPECT_TRUE(MCPConfigWriter::jsonHasServer(json, "other") && !MCPConfigWriter::jsonHasServer(json, "command"));
}

TEST_F(MCPConfigWriterTest, followsALinkAndDoesWithoutABackup) {
  write(user / "dotfiles/c.json", "{}\n");
  std::filesystem::create_symlink("dotfiles/c.json", user / "c.json");
  std::filesystem::create_directory(user / "c.json.tavro-backup");
  EXPECT_EQ(MCPConfigWriter::mergeJSON(user / "c.json", "x", "y"), Result::added);
  EXPECT_TRUE(std::filesystem::is_symlink(user / "c.json"));
  EXPECT_TRUE(MCPConfigWriter::jsonHasServer(user / "dotfiles/c.json", "y"));
}

TEST_F(MCPConfigWriterTest, refusesJsonThatItCouldNotKeep) {
  for (const std::string text :
       {"[]", "null", "{\"a\": 1", "{} // mine", "{\"a\": 1,}", "{\"a\": \"\xff\"}", R"({"a": {"b": 1, "b": 1}})",
        R"({"mcpServers": {}, "mcpServers": {}})", R"({"a": 18446744073709551616})", R"({"a": [-9223372036854775809]})",
        R"({"a": 3.14159265358979323846})", R"({"\\\"": 1e-400})"}) {
    write(json, text);
    EXPECT_THROW(MCPConfigWriter::mergeJSON(json, "x"), Error) << text;
    EXPECT_EQ(read(json), text);
    EXPECT_EQ(backup(json), "(no file)") << text;
  }
  for (const std::string text : {"", " \n", R"({"a": {"b": 1}, "c": {"b": 1}})", R"({"mcpServers": [1]})",
                                 R"({"1.00000000000000000001": [1E+2, 0.10, 0e9, -2.5e-7, 1200, 1e300]})"}) {
    write(json, text);
    EXPECT_EQ(MCPConfigWriter::mergeJSON(json, "x"), Result::added) << text;
  }
  EXPECT_THROW(MCPConfigWriter::mergeJSON(user, "x"), Error);
}

TEST_F(MCPConfigWriterTest, changesTheOneLineOfATomlSection) {
  const std::string header = "[mcp_servers.tavro]", line = "command = \"/b/tavro-mcp\"";
  const std::string section = header + "\n" + line + "\n", added = section + "args = []\n";
  EXPECT_EQ(MCPConfigWriter::mergeTOML(toml, "/b/tavro-mcp"), Result::added);
  EXPECT_EQ(read(toml), added);
  EXPECT_EQ(mode(toml), std::filesystem::perms(0600));
  EXPECT_EQ(MCPConfigWriter::mergeTOML(toml, "/c"), Result::updated);
  const std::string values =  // with two lines that look like headers
      "command_timeout = 9\nargs = [ # \"\n [1], '['\n]\ntext = \"\"\"\\\"\"\"\n[z]\n\"\" \"\"\"\n";
  const std::vector<std::pair<std::string, std::string>> files = {
      {"", "\n" + added},
      {"a = 1", "a = 1\n\n" + added},
      {"[mcp_servers.tavro2]\ncommand = 'x'\n", "[mcp_servers.tavro2]\ncommand = 'x'\n\n" + added},
      {"\t" + header + " \n" + values + " command='old'\n[z]\ncommand = 1",
       "\t" + header + " \n" + values + line + "\n[z]\ncommand = 1"},
      {header + "\n [z]\ncommand = 1\n", section + " [z]\ncommand = 1\n"},
      {header + "\ncommand_timeout = 1", section + "command_timeout = 1"},
      {"a = '''\n" + header + "\n''''\n", "a = '''\n" + header + "\n''''\n\n" + added},
      {header, header + "\n" + line},
      {header + "\r\ncommand = 'x'\r\nb = 1\r\n", header + "\r\n" + line + "\r\nb = 1\r\n"},
      {header + "\r\nb = 1\r\n", header + "\r\n" + line + "\r\nb = 1\r\n"},
      {"a = 1\r\n", "a = 1\r\n\r\n" + header + "\r\n" + line + "\r\nargs = []\r\n"},
      {"[mcp_servers.tavro.env]\nA = 'b'\n", "[mcp_servers.tavro.env]\nA = 'b'\n\n" + added}};
  for (const auto& [before, after] : files) {
    write(toml, before);
    MCPConfigWriter::mergeTOML(toml, "/b/tavro-mcp");
    EXPECT_EQ(read(toml), after);
    EXPECT_EQ(backup(toml), before);
    EXPECT_TRUE(MCPConfigWriter::tomlHasServer(toml));
  }
}

TEST_F(MCPConfigWriterTest, refusesTomlThatASecondTableWouldBreak) {
  for (const std::string text :
       {"a = \"\xff\"", "[mcp_servers.tavro] # mine\n", "[ mcp_servers . \"tavro\" ]", "[mcp_servers]\ntavro = {}",
        "[mcp_servers]\ntavro.command = 'x'", "mcp_servers.tavro.command = 'x'", "mcp_servers = {}",
        "[[mcp_servers.tavro]]", "[mcp_servers.tavro]\n\"command\" = 'x'", "[mcp_servers.tavro]\ncommand.x = 1",
        "[mcp_servers.tavro]\ncommand = [\n]", "[mcp_servers.tavro.command]", "a = [", "\"\"\"\n\""}) {
    std::filesystem::remove(toml.string() + ".tavro-backup");
    write(toml, text);
    EXPECT_THROW(MCPConfigWriter::mergeTOML(toml, "x"), Error) << text;
    EXPECT_EQ(read(toml), text);
    EXPECT_EQ(backup(toml), "(no file)") << text;
    EXPECT_EQ(MCPConfigWriter::tomlHasServer(toml), text.starts_with("[mcp_servers.tavro]\n")) << text;
  }
}

}  // namespace
