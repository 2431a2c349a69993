#include "readings/property_editors.h"

#include <gtest/gtest.h>

namespace numbrel {
namespace {

// Types text one character at a time into a field that starts with start, as the editor dialog
// does: each keystroke is offered to the rules and a refused one leaves the field as it was.
std::string typeInto(const ValueEdit& edit, std::string start, std::string_view keys,
                     const std::string& separator = ".") {
    std::string field = std::move(start);
    for (char c : keys) {
        if (auto next = acceptTyping(edit, field, field + c, separator)) field = *next;
    }
    return field;
}

ValueEdit numberEdit(bool allowFloat) {
    ValueEdit e;
    e.kind = EditKind::Number;
    e.allowFloat = allowFloat;
    return e;
}

TEST(NumberTyping, DigitsDecimalsAndTheLeadingZero) {
    const ValueEdit floats = numberEdit(true), whole = numberEdit(false);
    EXPECT_EQ(typeInto(floats, "0", "5"), "5");  // a leading 0 before a digit goes
    EXPECT_EQ(typeInto(floats, "0", "007"), "7");
    EXPECT_EQ(typeInto(floats, "0", ".25"), "0.25");
    EXPECT_EQ(typeInto(floats, "12", ".5.7"), "12.57");  // a second point is refused
    EXPECT_EQ(typeInto(floats, "1", "a-e3"), "13");      // letters, signs and exponents are refused
    EXPECT_EQ(typeInto(floats, "1", " 2"), "12");        // spaces are removed
    EXPECT_EQ(typeInto(whole, "0", "1.5"), "15");        // whole numbers take no point
    EXPECT_EQ(typeInto(floats, "0", ",5", ","), "0,5");  // the locale's separator
    EXPECT_EQ(typeInto(floats, "0", ".5", ","), "0.5");  // and a point, typed on a desktop keyboard
    // Deleting everything shows 0.
    EXPECT_EQ(acceptTyping(floats, "7", "", "."), "0");
    // A pasted text is read whole.
    EXPECT_EQ(acceptTyping(floats, "0", "0012.50", "."), "0012.50");
    EXPECT_FALSE(acceptTyping(floats, "0", "12x", "."));
}

TEST(NumberTyping, WhatSaveStores) {
    NumberViewController floats(true, ","), whole(false, ".");
    EXPECT_EQ(floats.value("12,5"), 12.5);
    EXPECT_EQ(floats.value("-12,5"), -12.5);  // the sign button
    EXPECT_EQ(floats.value(""), 0.0);
    EXPECT_EQ(floats.value("1 000"), 1000.0);
    EXPECT_FALSE(floats.value("1,2,3"));
    EXPECT_FALSE(floats.value("abc"));
    EXPECT_EQ(whole.value("12.7"), 12.0);  // the whole number the text starts with
    EXPECT_EQ(whole.value(""), 0.0);
    EXPECT_FALSE(whole.value("x"));
}

TEST(PostcodeTyping, UpperCaseAndRefusedKeystrokes) {
    ValueEdit postcode;
    postcode.kind = EditKind::Postcode;
    EXPECT_EQ(typeInto(postcode, "", "sw1a 1aa"), "SW1A 1AA");
    EXPECT_EQ(typeInto(postcode, "", "M1 1AE"), "M1 1AE");
    EXPECT_EQ(typeInto(postcode, "", "B33  8TH"), "B33 8TH");    // the second space is refused
    EXPECT_EQ(typeInto(postcode, "", "DN55 1P2T"), "DN55 1PT");  // so is a fourth digit
    EXPECT_EQ(typeInto(postcode, "", "ec1a 1bbz"), "EC1A 1BB");
    EXPECT_EQ(typeInto(postcode, "", "AB!1"), "AB1");
    // Deleting is always accepted, even to a text the rules would refuse if typed.
    EXPECT_EQ(acceptTyping(postcode, "SW1A 1AA", "SW1A1AA", "."), "SW1A1AA");

    ValueEdit house;
    house.kind = EditKind::Text;
    EXPECT_EQ(typeInto(house, "", "Flat 2b!"), "Flat 2b!");
}

}  // namespace
}  // namespace numbrel

namespace numbrel {
namespace {

TEST(PropertyEditors, TextKeysAndTheirRules) {
    Value meter = Value::makeDictionary({{"name", "Gas"}, {"notes", "by the door"}});
    ValueEdit name = nameEditor(meter);
    EXPECT_EQ(name.value, "Gas");
    EXPECT_TRUE(name.required);
    EXPECT_FALSE(name.apply("", ""));
    EXPECT_TRUE(name.apply("Gas upstairs", ""));
    EXPECT_EQ(stringOf(meter, "name"), "Gas upstairs");

    ValueEdit postcode = postcodeEditor(meter, "postcode", "Postcode", "Enter the postcode for this meter");
    EXPECT_EQ(postcode.kind, EditKind::Postcode);
    EXPECT_EQ(postcode.prompt, "Enter the postcode for this meter");
    EXPECT_FALSE(postcode.apply("SW1A  1AA", ""));  // a pasted text the rules refuse
    EXPECT_TRUE(postcode.apply("sw1a 1aa", ""));
    EXPECT_EQ(stringOf(meter, "postcode"), "SW1A 1AA");
    Value settings = Value::emptyDictionary();
    ValueEdit email = postcodeEditor(settings, "email", "Email", "");
    EXPECT_EQ(email.kind, EditKind::Text);  // any text for keys other than "postcode"
    EXPECT_TRUE(email.apply("me@example.org", ""));
    EXPECT_EQ(stringOf(settings, "email"), "me@example.org");

    ValueEdit notes = notesEditor(meter, "notes");
    EXPECT_EQ(notes.value, "by the door");
    EXPECT_TRUE(notes.apply("", ""));
    EXPECT_FALSE(meter.contains("notes"));  // empty notes are no notes

    std::vector<std::string> made;
    ValueEdit fresh = newMeterEditor([&](const std::string& n) { made.push_back(n); });
    EXPECT_FALSE(fresh.apply(" \t", ""));
    EXPECT_TRUE(fresh.apply("  Heat pump ", ""));
    EXPECT_EQ(made, (std::vector<std::string>{"Heat pump"}));
}

}  // namespace
}  // namespace numbrel
