// The two documents the crash test's child saves in turn.
#pragma once

#include "plist/value.h"

namespace numbrel::test {

inline Value crashTestDocument(int which) {
    Array readings;
    for (int i = 0; i < 3000; ++i) {
        readings.push_back(Value::makeDictionary(
            {{"date", Date{1000.0 * i + which}}, {"reading", Value(Array{i * 1.5 + which, 0.0, 0.0})}}));
    }
    Array meters{
        Value::makeDictionary({{"name", which ? "B" : "A"}, {"readings", Value(std::move(readings))}})};
    return Value::makeDictionary({{"settings", Value(std::move(meters))}, {"generation", which}});
}

}  // namespace numbrel::test
