#include "plist/packed_vector.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "plist/value.h"

namespace numbrel {
namespace {

// Strings long enough to live on the heap: a moved-from or doubly destroyed element shows as a wrong
// text here, or as a fault under the address sanitizer.
std::string text(int i) {
    return "element number " + std::to_string(i) + " of the vector under test";
}

void expectSame(const PackedVector<std::string>& v, const std::vector<std::string>& model, int step) {
    ASSERT_EQ(v.size(), model.size()) << "after step " << step;
    EXPECT_LE(v.size(), v.capacity());
    for (std::size_t k = 0; k < model.size(); ++k)
        ASSERT_EQ(v[k], model[k]) << "element " << k << " after step " << step;
}

TEST(PackedVector, BehavesAsStdVectorUnderRandomEdits) {
    std::mt19937 random(20261123);
    PackedVector<std::string> v;
    std::vector<std::string> model;
    int next = 0;
    for (int step = 0; step < 4000; ++step) {
        const std::size_t n = model.size();
        auto position = [&] { return n == 0 ? 0 : static_cast<std::size_t>(random() % (n + 1)); };
        switch (random() % 9) {
            case 0:
            case 1: {
                std::string s = text(next++);
                v.push_back(s);
                model.push_back(s);
                break;
            }
            case 2: {
                std::size_t at = position();
                std::string s = text(next++);
                v.insert(v.begin() + at, s);
                model.insert(model.begin() + static_cast<std::ptrdiff_t>(at), s);
                break;
            }
            case 3: {  // several at once, more or fewer than the elements after the position
                std::size_t at = position();
                std::vector<std::string> items;
                for (int k = static_cast<int>(random() % 5); k > 0; --k)
                    items.push_back(text(next++));
                v.insert(v.begin() + at, items.begin(), items.end());
                model.insert(model.begin() + static_cast<std::ptrdiff_t>(at), items.begin(), items.end());
                break;
            }
            case 4:
                if (n > 0) {
                    std::size_t at = random() % n;
                    v.erase(v.begin() + at);
                    model.erase(model.begin() + static_cast<std::ptrdiff_t>(at));
                }
                break;
            case 5: {
                std::size_t a = position(), b = position();
                if (a > b) std::swap(a, b);
                v.erase(v.begin() + a, v.begin() + b);
                model.erase(model.begin() + static_cast<std::ptrdiff_t>(a),
                            model.begin() + static_cast<std::ptrdiff_t>(b));
                break;
            }
            case 6: {
                std::size_t size = random() % 24;
                v.resize(size, "filler");
                model.resize(size, "filler");
                break;
            }
            case 7:
                if (n > 0) {  // an element of the vector itself, also when the vector must grow for it
                    std::size_t at = random() % n;
                    v.shrink_to_fit();
                    v.push_back(v[at]);
                    model.push_back(model[at]);
                }
                break;
            case 8:
                if (n > 0) {
                    std::size_t from = random() % n, at = position();
                    v.shrink_to_fit();
                    v.insert(v.begin() + at, v[from]);
                    model.insert(model.begin() + static_cast<std::ptrdiff_t>(at), std::string(model[from]));
                }
                break;
        }
        expectSame(v, model, step);
        if (HasFatalFailure()) return;
    }
    PackedVector<std::string> copy = v;
    expectSame(copy, model, -1);
    EXPECT_TRUE(copy == v);
    PackedVector<std::string> moved = std::move(copy);
    expectSame(moved, model, -2);
    EXPECT_TRUE(copy.empty());
}

TEST(PackedVector, AnEmptyVectorHoldsNoBlockAndOneElementIsOneBlock) {
    PackedVector<Value> empty;
    EXPECT_EQ(empty.capacity(), 0u);
    EXPECT_EQ(empty.data(), nullptr);
    EXPECT_EQ(empty.begin(), empty.end());
    PackedVector<Value> copy = empty;
    EXPECT_EQ(copy.data(), nullptr);
    static_assert(sizeof(PackedVector<Value>) == sizeof(void*));
    static_assert(sizeof(Value) == 16);

    PackedVector<Value> three{Value(1.0), Value(2.0), Value(3.0)};
    EXPECT_EQ(three.capacity(), 3u);  // built to size: a reading's values take no spare room
    three.reserve(2);
    EXPECT_EQ(three.capacity(), 3u);
    three.clear();
    EXPECT_TRUE(three.empty());
    three.shrink_to_fit();
    EXPECT_EQ(three.data(), nullptr);
}

TEST(PackedVector, AValueCarriesItsContainersWhenItMoves) {
    // A dictionary holding an array, moved about inside an array that grows: the contents travel with
    // the value, and the containers' blocks stay where they are.
    Array list;
    Value reading = Value::makeDictionary({{"date", Date{1.0}}, {"reading", Value(Array{Value(4.5)})}});
    const Value* block = &reading.find("reading")->array()[0];
    list.push_back(std::move(reading));
    for (int k = 0; k < 100; ++k)
        list.insert(list.begin(), Value(k));
    const Value& moved = list.back();
    ASSERT_TRUE(moved.isDictionary());
    ASSERT_NE(moved.find("reading"), nullptr);
    EXPECT_EQ(&moved.find("reading")->array()[0], block);
    EXPECT_EQ(moved.find("reading")->array()[0], Value(4.5));
    EXPECT_TRUE(reading.isBool());  // what is left behind holds nothing
}

}  // namespace
}  // namespace numbrel
