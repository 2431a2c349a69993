#include "plist/xml_plist.h"

#include <gtest/gtest.h>

#include "plist/date_text.h"

namespace numbrel {
namespace {

TEST(XmlPlist, ReadsEveryElement) {
    const char* text = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
  <!-- a comment -->
  <key>name</key><string>Gas &amp; Water &#x263A;</string>
  <key>empty</key><string/>
  <key>digits</key><integer>5</integer>
  <key>factor</key><real>11.2</real>
  <key>black</key><false/>
  <key>tips</key><true/>
  <key>date</key><date>2014-03-05T07:15:02Z</date>
  <key>data</key><data>AAH/</data>
  <key>list</key><array><integer>-3</integer><array/><dict/></array>
</dict>
</plist>)";
    PlistResult r = readXmlPlist(text);
    ASSERT_TRUE(r.ok()) << r.error;
    const Value& v = r.value;
    EXPECT_EQ(stringOf(v, "name"), "Gas & Water ☺");
    EXPECT_EQ(stringOf(v, "empty", "x"), "");
    EXPECT_EQ(v.find("digits")->integer(), 5);
    EXPECT_EQ(v.find("factor")->real(), 11.2);
    EXPECT_FALSE(v.find("black")->boolean());
    EXPECT_TRUE(v.find("tips")->boolean());
    EXPECT_EQ(v.find("date")->date(), *parseIso8601("2014-03-05T07:15:02Z"));
    EXPECT_EQ(v.find("data")->data(), (Data{0, 1, 0xFF}));
    EXPECT_EQ(v.find("list")->array()[0].integer(), -3);
}

TEST(XmlPlist, MalformedTextIsAnError) {
    for (const char* text :
         {"", "<plist>", "<plist><dict><key>a</key></dict></plist>", "<plist><integer>12x</integer></plist>",
          "<plist><string>a</integer></plist>", "<plist><date>yesterday</date></plist>",
          "<plist><string>&bogus;</string></plist>", "<plist><data>!!</data></plist>",
          "<plist><foo/></plist>", "<plist><true/><true/></plist>",
          "<plist><dict><key>n\xB4g</key><true/></dict></plist>",  // not UTF-8: it would not come back
          "<plist><string>\xED\xA0\x80</string></plist>"}) {
        EXPECT_FALSE(readXmlPlist(text).ok()) << text;
    }
    std::string deep = "<plist>";
    for (int i = 0; i < 600; ++i)
        deep += "<array>";
    EXPECT_EQ(readXmlPlist(deep).error, "nesting too deep");
}

}  // namespace
}  // namespace numbrel
