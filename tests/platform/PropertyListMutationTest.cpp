#include <gtest/gtest.h>

#include <string>

#include "platform/PropertyList.h"
#include "platform/Random.h"
#include "tests/platform/BinaryPropertyListMaker.h"

namespace morv {
namespace {

constexpr int kRounds = 20000;

std::string xmlSample() {
  return writePropertyList(
             PropertyListDictionary{
                 {"name", "[USER]_PL_\xC3\xA9 & <x>"},
                 {"version", 1},
                 {"offset", -5},
                 {"date", PropertyListDate{1000000000}},
                 {"data", PropertyListValue::Data{1, 2, 3, 4, 5}},
                 {"list", PropertyListValue::Array{0.25, -1e-5, true, "x", PropertyListDictionary{}}},
                 {"groups", PropertyListDictionary{{"morv", PropertyListDictionary{{"volume", 0.5F}}}}}})
      .value();
}

std::string binarySample() {
  BinaryPropertyListMaker maker;
  const auto name = maker.addText("name");
  const auto list = maker.addText("list");
  const auto wide = maker.add(std::string("\x62\x00\xE9\x00\x41", 5));
  const auto data = maker.add("\x43xyz");
  const auto integer = maker.add("\x13" + std::string(8, '\xFE'));
  const auto real = maker.add(std::string("\x23\x3F\xE0\0\0\0\0\0\0", 9));
  const auto date = maker.add(std::string("\x33\x41\xA0\0\0\0\0\0\0", 9));
  const auto array = maker.addArray({name, wide, data, integer, real, date});
  return maker.file(maker.addDictionary({name, list}, {wide, array}));
}

class Mutator {
 public:
  explicit Mutator(std::uint64_t seed) : random_(seed) {}

  // A copy with one to four places flipped, overwritten, cut out, doubled or cut off.
  std::string mutate(std::string bytes) {
    for (std::size_t i = 1 + below(4); i > 0 && !bytes.empty(); --i) {
      const std::size_t at = below(bytes.size());
      const std::size_t length = 1 + below(12);
      switch (below(6)) {
        case 0:
          bytes[at] = static_cast<char>(bytes[at] ^ (1 << below(8)));
          break;
        case 1:
          bytes[at] = static_cast<char>(below(256));
          break;
        case 2:
          bytes.erase(at, length);
          break;
        case 3:
          bytes.insert(below(bytes.size()), bytes.substr(at, length * 4));
          break;
        case 4:
          bytes[at] = "<>/&;!-0\xFF"[below(9)];
          break;
        default:
          if (below(4) == 0) bytes.resize(at);
          break;
      }
    }
    return bytes;
  }

 private:
  std::size_t below(std::size_t bound) {
    return static_cast<std::size_t>(random_.unitDouble() * static_cast<double>(bound));
  }
  Random random_;
};

// A damaged file is refused with a reason, or it gives a value that can be written and read back.
void expectRefusedOrSound(const std::string& bytes) {
  const auto result = readPropertyList(bytes);
  if (!result) {
    EXPECT_FALSE(result.reason().empty());
    return;
  }
  const auto text = writePropertyList(result.value());
  ASSERT_TRUE(text) << text.reason();
  const auto back = readPropertyList(text.value());
  ASSERT_TRUE(back) << back.reason();
  EXPECT_TRUE(back.value() == result.value()) << text.value();
}

TEST(PropertyListMutation, DamagedXmlIsRefusedOrSound) {
  const std::string sample = xmlSample();
  Mutator mutator(1);

  for (int i = 0; i < kRounds; ++i) expectRefusedOrSound(mutator.mutate(sample));
}

TEST(PropertyListMutation, DamagedBinaryIsRefusedOrSound) {
  const std::string sample = binarySample();
  ASSERT_TRUE(readPropertyList(sample));
  Mutator mutator(2);

  for (int i = 0; i < kRounds; ++i) expectRefusedOrSound(mutator.mutate(sample));
}

TEST(PropertyListMutation, EveryCutOfAFileIsRefused) {
  const std::string xml = xmlSample();
  const std::string binary = binarySample();
  const std::size_t xmlEnd = xml.rfind('>');  // behind it stands a line end alone

  for (std::size_t size = 0; size <= xmlEnd; ++size)
    EXPECT_FALSE(readPropertyList(xml.substr(0, size))) << size;
  for (std::size_t size = 0; size < binary.size(); ++size)
    EXPECT_FALSE(readPropertyList(binary.substr(0, size))) << size;
}

}  // namespace
}  // namespace morv
