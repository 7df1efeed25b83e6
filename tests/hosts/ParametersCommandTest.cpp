#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "hosts/cli/ParametersCommand.h"
#include "platform/AUParameterGroup.h"

namespace morv::cli {
namespace {

std::shared_ptr<AUParameterTree> smallTree() {
  std::vector<std::unique_ptr<AUParameter>> children;
  children.push_back(std::make_unique<AUParameter>(
      AUParameter::Description{"lfoShape", "LFO Shape", 16, 0, 4, 1, 0xC2000000U, {"SIN", "UP/DWN"}}));
  children.push_back(std::make_unique<AUParameter>(
      AUParameter::Description{"quote", "A \"b\" \\ \x01", 17, 0.1F, 20000, 8, 0x50000U, {}}));
  children[1]->setValue(0.001F);
  return AUParameterTree::createTreeWithChildren(
      {std::make_shared<AUParameterGroup>("morv", "MORV", std::move(children))});
}

TEST(ParametersCommand, PrintsOneTabbedLinePerParameterUnderAHeader) {
  EXPECT_EQ(parametersAsTable(*smallTree()),
            "group\tidentifier\taddress\tname\tminimum\tmaximum\tdefault\tunit\tflags\tvalueStrings\n"
            "morv\tlfoShape\t16\tLFO Shape\t0\t4\t0\t1\t3254779904\tSIN|UP/DWN\n"
            "morv\tquote\t17\tA \"b\" \\ \x01\t0.1\t20000\t0.001\t8\t327680\t\n");
}

TEST(ParametersCommand, PrintsJsonWithEscapes) {
  EXPECT_EQ(parametersAsJson(*smallTree()),
            "[\n"
            "{\"group\": \"morv\", \"identifier\": \"lfoShape\", \"address\": 16, \"name\": \"LFO Shape\", "
            "\"minimum\": 0, \"maximum\": 4, \"default\": 0, \"unit\": 1, \"flags\": 3254779904, "
            "\"valueStrings\": [\"SIN\", \"UP/DWN\"]},\n"
            "{\"group\": \"morv\", \"identifier\": \"quote\", \"address\": 17, \"name\": \"A \\\"b\\\" \\\\ "
            "\\u0001\", "
            "\"minimum\": 0.1, \"maximum\": 20000, \"default\": 0.001, \"unit\": 8, \"flags\": 327680, "
            "\"valueStrings\": []}\n"
            "]\n");
}

TEST(ParametersCommand, PrintsAnEmptyTree) {
  EXPECT_EQ(parametersAsJson(*AUParameterTree::createTreeWithChildren({})), "[\n]\n");
}

}  // namespace
}  // namespace morv::cli
