#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <string>

namespace {

TEST(PropertiesTest, GetFallsBackToTheDefaultUntilSet) {
    char value[PROPERTY_VALUE_MAX];
    EXPECT_EQ(property_get("test.properties.unset", value, "0"), 1);
    EXPECT_STREQ(value, "0");
    EXPECT_EQ(property_get("test.properties.unset", value, nullptr), 0);
    EXPECT_STREQ(value, "");

    ASSERT_EQ(property_set("test.properties.level", "3"), 0);
    EXPECT_EQ(property_get("test.properties.level", value, "0"), 1);
    EXPECT_STREQ(value, "3");
}

TEST(PropertiesTest, LongValuesAreTruncatedToTheBuffer) {
    std::string longValue(PROPERTY_VALUE_MAX + 10, 'x');
    char value[PROPERTY_VALUE_MAX];
    EXPECT_EQ(property_get("test.properties.long", value, longValue.c_str()),
              PROPERTY_VALUE_MAX - 1);
    EXPECT_EQ(std::string(value), longValue.substr(0, PROPERTY_VALUE_MAX - 1));
}

}  // namespace
