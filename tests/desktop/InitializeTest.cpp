// Guards what an owner has: the sample goes where nothing is, and nowhere else.
#include "Platform/Desktop.h"
#include "tests/desktop/Desk.h"

namespace {

class InitializeTest : public Desk {};

TEST_F(InitializeTest, addsTheSampleOnceAndTheTreeAlways) {
  EXPECT_EQ(Desktop::initialize(true).size(), 2 + 8 + 6u);
  EXPECT_TRUE(Desktop::initialize(true).empty());
  EXPECT_EQ(Files::list(root / "contacts").size(), 6u);
}

TEST_F(InitializeTest, leavesTheOwnersStoresAlone) {
  put("notes/Mine/Ideas/a.html", "mine");
  put("contacts/a.vcf", "");
  Desktop::initialize(true);
  EXPECT_EQ(Files::list(root / "notes"), std::vector<std::string>{"Mine"});
  EXPECT_EQ(Files::list(root / "notes/Mine"), std::vector<std::string>{"Ideas"});
  EXPECT_EQ(Files::list(root / "contacts").size(), 1u);
}

}  // namespace
