#include <gtest/gtest.h>
namespace morv {
}
