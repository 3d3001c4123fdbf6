// The wire, to the byte: what each line of input is answered with. The catalogue is a small one of this
// test, so that every road of a call can be taken.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroMCP/LineReader.h"
#include "TavroMCP/Server.h"

namespace {

std::string takeAll(int file) {
  std::string bytes(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
  EXPECT_EQ(pread(file, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  EXPECT_EQ(ftruncate(file, 0), 0);
  lseek(file, 0, SEEK_SET);
  return bytes;
}

Script noScript(const Arguments&) { return {}; }

// "echo" prints its arguments, "nothing" is silent, "wipe" is destructive, "fail" throws.
const std::vector<Tool>& catalogue() {
  static const std::vector<Tool> tools = {
      {.id = "test.echo",
       .summary = "Say \"it\" again",
       .effect = Effect::read,
       .build = noScript,
       .nativeRun =
           [](const Arguments& args) {
             std::string text;
             for (const auto& [key, value] : args) text += key + "=" + value + ";";
             return text;
           }},
      {.id = "test.nothing",
       .summary = "n",
       .effect = Effect::read,
       .build = noScript,
       .nativeRun = [](const Arguments&) { return ""; }},
      {.id = "test.wipe",
       .summary = "w",
       .effect = Effect::destructive,
       .build = [](const Arguments& args) { return requiredArgument(args, "what"), Script{}; },
       .nativeRun = [](const Arguments&) -> std::string { throw Error("must not run"); },
       .preview = [](const Arguments& args) -> std::optional<std::string> {
         if (args.at("what") == "secret") return std::nullopt;
         return "all of " + args.at("what");
       }},
      {.id = "test.fail",
       .summary = "f",
       .effect = Effect::read,
       .build = noScript,
       .nativeRun = [](const Arguments&) -> std::string { throw Error("it broke"); }},
  };
  return tools;
}

class ServerTest : public testing::Test {
 protected:
  ServerTest() {
    home_ = std::filesystem::temp_directory_path() / ("tavro-mcp-test-" + std::to_string(getpid()));
    std::filesystem::remove_all(home_);
    setenv("TAVRO_HOME", home_.c_str(), 1);
    setenv("HOME", home_.c_str(), 1);
  }
  ~ServerTest() override {
    close(out_);
    close(err_);
    std::filesystem::remove_all(home_);
  }

  std::string send(std::string_view line) {
    server_.handleLine(std::string(line));
    return takeAll(out_);
  }
  std::string logged() { return takeAll(err_); }
  // The text and the error flag of a tools/call, "!" in front of an error's text.
  std::string call(const std::string& name, const std::string& arguments) {
    const auto reply = JsonText::parse(
        send(R"({"id":7,"method":"tools/call","params":{"name":")" + name + R"(","arguments":)" + arguments + "}}"));
    const Json& result = reply->at("result");
    EXPECT_EQ(result.size(), 2u);
    EXPECT_EQ(result.at("content").size(), 1u);
    EXPECT_EQ(result.at("content").at(0).at("type"), "text");
    return (result.at("isError").get<bool>() ? "!" : "") + result.at("content").at(0).at("text").get<std::string>();
  }

  int out_ = memfd_create("out", MFD_CLOEXEC);
  int err_ = memfd_create("err", MFD_CLOEXEC);
  std::filesystem::path home_;
  Server server_{catalogue(), "/somewhere/else", out_, err_};
};

TEST_F(ServerTest, answersEachMethodToTheByte) {
  const std::string hello = R"(,"capabilities":{"tools":{}},"serverInfo":{"name":"tavro","version":"0.1.0"}}})"
                            "\n";
  const std::vector<std::pair<std::string, std::string>> transcript = {
      {R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"1999-01-01"}})",
       R"({"jsonrpc":"2.0","id":1,"result":{"protocolVersion":"1999-01-01")" + hello},
      {R"({"id":2,"method":"initialize"})",
       R"({"jsonrpc":"2.0","id":2,"result":{"protocolVersion":"2025-06-18")" + hello},
      {R"({"id":2,"method":"initialize","params":["x"]})",
       R"({"jsonrpc":"2.0","id":2,"result":{"protocolVersion":"2025-06-18")" + hello},
      {R"({"id":2,"method":"initialize","params":{"protocolVersion":5}})",
       R"({"jsonrpc":"2.0","id":2,"result":{"protocolVersion":"2025-06-18")" + hello},
      {R"({"id":null,"method":"ping"})", "{\"jsonrpc\":\"2.0\",\"id\":null,\"result\":{}}\n"},
      {" \t\u00a0{\"id\":\"a\",\"method\":\"ping\"}\r", "{\"jsonrpc\":\"2.0\",\"id\":\"a\",\"result\":{}}\n"},
      {R"({"id":1,"method":"PING"})",
       "{\"jsonrpc\":\"2.0\",\"id\":1,\"error\":{\"code\":-32601,\"message\":\"method not found: PING\"}}\n"},
      {R"({"id":1})",
       "{\"jsonrpc\":\"2.0\",\"id\":1,\"error\":{\"code\":-32601,\"message\":\"method not found: <nil>\"}}\n"},
      {R"({"id":1,"method":7})",
       "{\"jsonrpc\":\"2.0\",\"id\":1,\"error\":{\"code\":-32601,\"message\":\"method not found: <nil>\"}}\n"},
      {R"({"id":1,"method":"tools/call","params":{"name":5}})",
       "{\"jsonrpc\":\"2.0\",\"id\":1,\"error\":{\"code\":-32602,\"message\":\"missing tool name\"}}\n"},
      {R"({"id":1,"method":"notifications/initialized"})", ""},
      {R"({"method":"ping"})", ""},
      {R"({"method":"no/such"})", ""},
      {R"({"method":"tools/call","params":{"name":"test_fail"}})", ""},
      {"   \t ", ""},
  };
  for (const auto& [line, answer] : transcript) EXPECT_EQ(send(line), answer) << line;
  EXPECT_EQ(logged(), "");
}

TEST_F(ServerTest, givesEveryIdBackAsItCame) {
  const std::vector<std::string> ids = {"0",
                                        "-7",
                                        "1.50",
                                        "1E5",
                                        "9007199254740993",
                                        "18446744073709551616",
                                        "123456789012345678901234567890",
                                        "\"\\u0000\"",
                                        "true",
                                        "[]",
                                        R"({"b":[1,{}],"a":"\"x\""})",
                                        R"("😀")"};
  for (const auto& id : ids)
    EXPECT_EQ(send(R"({ "id" : )" + id + R"(, "method":"ping"})"),
              "{\"jsonrpc\":\"2.0\",\"id\":" + id + ",\"result\":{}}\n");
  EXPECT_EQ(send(R"({"id": [ 1 , { "a" : [ ] , "b" : "c d" } ] ,"method":"ping"})"),
            "{\"jsonrpc\":\"2.0\",\"id\":[1,{\"a\":[],\"b\":\"c d\"}],\"result\":{}}\n");
  EXPECT_EQ(send(R"({"id":1,"method":"ping","id":2})"), "{\"jsonrpc\":\"2.0\",\"id\":2,\"result\":{}}\n");
}

TEST_F(ServerTest, bearsAnyNesting) {
  const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
  EXPECT_EQ(send(R"({"id":)" + deep + R"(,"method":"ping"})"),
            "{\"jsonrpc\":\"2.0\",\"id\":" + deep + ",\"result\":{}}\n");
  EXPECT_EQ(call("test_echo", R"({"x":)" + deep + "}"), "x=" + deep + ";");
  EXPECT_EQ(send(std::string(100'000, '{')), "");
  EXPECT_EQ(logged(), "tavro-mcp: parse error: " + std::string(200, '{') + "\n");
}

TEST_F(ServerTest, logsWhatItCantReadAndGoesOn) {
  const std::vector<std::string> unreadable = {"[1,2]",
                                               "5",
                                               "{",
                                               R"({"id":1,"method":"ping"} x)",
                                               R"({"id":01})",
                                               R"({'id':1})",
                                               std::string(R"({"id":1,"method":"ping"})") + '\0',
                                               R"({"id":"\ud800","method":"ping"})"};
  for (const auto& line : unreadable) {
    EXPECT_EQ(send(line), "") << line;
    EXPECT_EQ(logged(), "tavro-mcp: parse error: " + line + "\n");
  }
  std::string accents;  // 5,000 characters of two bytes and a combining mark
  for (int i = 0; i < 5000; ++i) accents += "e\u0301";
  send(accents);
  EXPECT_EQ(logged(), "tavro-mcp: parse error: " + accents.substr(0, 200 * 3) + "\n");
  EXPECT_EQ(send("\xef\xbb\xbf{\"id\":1,\"method\":\"ping\"}"), "{\"jsonrpc\":\"2.0\",\"id\":1,\"result\":{}}\n");
  EXPECT_EQ(send("{\"id\":\"\xff\xc3(\",\"method\":\"ping\"}"),
            "{\"jsonrpc\":\"2.0\",\"id\":\"\uFFFD\uFFFD(\",\"result\":{}}\n");
}

TEST_F(ServerTest, describesEveryToolWithOneSchema) {
  const auto reply = JsonText::parse(send(R"({"id":1,"method":"tools/list","params":{"cursor":"x"}})"));
  const Json& tools = reply->at("result").at("tools");
  ASSERT_EQ(tools.size(), catalogue().size());
  EXPECT_EQ(tools.at(0), Json::parse(R"({"name":"test_echo","description":"Say \"it\" again","inputSchema":
      {"type":"object","properties":{},"additionalProperties":{"type":"string"}}})"));
  EXPECT_EQ(tools.at(3).at("name"), "test_fail");
}

TEST_F(ServerTest, turnsArgumentsIntoTexts) {
  EXPECT_EQ(call("test_echo", R"({"b":5,"a":"","c":true,"d":2.5,"e":5.0,"f":null,"g":[1, "x"],"h":1e3,
                                 "i":12345678901234567890123,"j":-0.25,"k":"é\n"})"),
            "a=;b=5;c=true;d=2.5;e=5;f=null;g=[1,\"x\"];h=1000;i=12345678901234567890123;j=-0.25;k=é\n;");
  for (const char* notAnObject : {"[1]", "null", "\"x\"", "5"}) EXPECT_EQ(call("test_echo", notAnObject), "✅ ok");
}

TEST_F(ServerTest, showsEachRoadOfTheGate) {
  EXPECT_EQ(call("test_nothing", "{}"), "✅ ok");
  EXPECT_EQ(call("test_fail", "{}"), "!❌ it broke");
  EXPECT_EQ(call("test.echo", "{}"), "!❌ unknown tool: test.echo");
  EXPECT_EQ(call("test_wipe", "{}"), "!❌ missing required argument: what");
}

TEST_F(ServerTest, tellsThatAnActionWaits) {
  Server server(catalogue(), home_ / "queue", out_, err_);
  const auto pendingText = [&](const std::string& what) {
    server.handleLine(R"({"id":1,"method":"tools/call","params":{"name":"test_wipe","arguments":{"what":")" + what +
                      "\"}}}");
    const auto reply = JsonText::parse(takeAll(out_));
    EXPECT_EQ(reply->at("result").at("isError"), false);
    return reply->at("result").at("content").at(0).at("text").get<std::string>();
  };
  EXPECT_THAT(pendingText("mail"),
              testing::MatchesRegex(
                  "⏸ Destructive action queued for human approval \\(id=[0-9A-F]{8}\\)\\.\nImpact: all of mail\n"
                  "It will NOT run until a human approves it in the Tavro cockpit \\(menu bar\\)\\."));
  EXPECT_THAT(
      pendingText("secret"),
      testing::MatchesRegex("⏸ Destructive action queued for human approval \\(id=[0-9A-F]{8}\\)\\.\n"
                            "It will NOT run until a human approves it in the Tavro cockpit \\(menu bar\\)\\."));
  EXPECT_EQ(Files::list(home_ / "queue" / "pending").size(), 2u);
}

TEST_F(ServerTest, waitsOnPipesThatAreSetToNotWait) {
  int in[2];
  int out[2];
  ASSERT_EQ(pipe2(in, O_NONBLOCK) + pipe2(out, O_NONBLOCK), 0);
  fcntl(in[1], F_SETFL, 0);
  fcntl(out[0], F_SETFL, 0);
  std::thread serving([&] {
    Server server(catalogue(), home_, out[1], err_);
    LineReader lines(in[0]);
    for (std::string line; lines.next(line);) server.handleLine(line);
    close(in[0]);
    close(out[1]);
  });
  const std::string id = '"' + std::string(4 << 20, 'y') + '"';
  const std::string ping = R"({"id":)" + id + R"(,"method":"ping"})";
  for (std::string_view rest = ping; !rest.empty();) {
    const ssize_t count = write(in[1], rest.data(), rest.size());
    ASSERT_GT(count, 0);
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
  close(in[1]);
  std::string reply;
  LineReader(out[0]).next(reply);
  EXPECT_TRUE(reply == R"({"jsonrpc":"2.0","id":)" + id + R"(,"result":{}})") << reply.size();
  serving.join();
  close(out[0]);
}

TEST(LineReaderTest, findsLinesAcrossReadsAndKeepsALastOneWithoutItsFeed) {
  const int file = memfd_create("in", MFD_CLOEXEC);
  const std::string big(200'000, 'x');
  const std::string input = "a\n\n" + big + "\nlast";
  ASSERT_EQ(write(file, input.data(), input.size()), static_cast<ssize_t>(input.size()));
  lseek(file, 0, SEEK_SET);
  LineReader reader(file);
  std::vector<std::string> lines;
  for (std::string line; reader.next(line);) lines.push_back(line);
  EXPECT_EQ(lines, (std::vector<std::string>{"a", "", big, "last"}));
  close(file);
}

}  // namespace
