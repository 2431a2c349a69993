#include "main/price_comparison.h"

#include <gtest/gtest.h>

#include "main/root_view_controller.h"
#include "store/document.h"
#include "support/app_fixture.h"
#include "support/fake_navigator.h"
#include "support/test_support.h"
#include "ui/markup.h"

namespace numbrel {
namespace {

using test::at;

// A service that records what is posted and answers what the test set; it honours Cancel as the
// real one does, by asking the progress before answering.
struct FakePriceService : PriceService {
    PriceReply post(const std::string& url, const std::string& body, const Progress& progress) override {
        posts.push_back({url, body});
        if (progress && !progress(0)) return PriceReply{{}, "cancelled", true};
        return reply;
    }
    struct Post {
        std::string url, body;
    };
    std::vector<Post> posts;
    PriceReply reply;
};

constexpr const char* kLink = "https://compare.example/quote?db=electric&ref=42";

// The default meters made comparable: Electricity at 10 kWh a day for a year at 0.20, Gas at 20 kWh a
// day at 0.05, both at SW1A 1AA, house 1.
class PriceComparison : public test::AppFixture {
protected:
    PriceComparison() {
        for (int m : {0, 1}) {
            meter(m).set("code", "GBP");
            meter(m).set("postcode", "SW1A 1AA");
            meter(m).set("house", "1");
        }
        setRate(0, 0, 0.20);
        setRate(1, 0, 0.05);
        addReading(0, "2025-11-20T08:00:00Z", {1000, 0});
        addReading(0, "2026-11-20T08:00:00Z", {4650, 0});
        addReading(1, "2025-11-20T08:00:00Z", {100, 0});
        addReading(1, "2026-11-20T08:00:00Z", {7400, 0});
        meter(2).set("code", "GBP");
        app_.configuration().set("prices.endpoint", "http://127.0.0.1:8111/");
        app_.setPriceService(&service_);
        service_.reply.body =
            std::string("resultsCount=3\nnewPoundsPerAnnum=612.34\nsearchURL=") + kLink + "\n";
    }
    void setRate(int m, int reg, double rate) {
        for (Value& step :
             meter(m).find("tariffs")->array()[static_cast<std::size_t>(reg)].find("rates")->array())
            step.set("rate", rate);
    }
    void addReading(int m, const char* when, std::array<double, 2> registers) {
        Array& readings = meter(m).find("readings")->array();
        readings.insert(readings.begin(),
                        Value::makeDictionary({{"date", at(when)},
                                               {"reading", Value(Array{registers[0], registers[1], 0.0})}}));
    }
    // The meter shown, its power-switch button pressed.
    void press(int shown) {
        app_.settings().set("meter", shown);
        root_.actionAction();
    }
    const Alert& last() { return nav_.alerts.back(); }

    FakePriceService service_;
    test::FakeNavigator nav_;
    RootViewController root_{app_, nav_, dir_.path().string()};
};

TEST_F(PriceComparison, OnlyElectricityOrGasInPoundsWithAPostcodeAndTwoReadingsAreCompared) {
    auto refused = [&](auto change) {
        change();
        nav_.alerts.clear();
        press(0);
        const bool told = !nav_.alerts.empty() && last() == eligibilityAlert();
        app_.settings().set("meter", 0);
        return told;
    };
    EXPECT_EQ(eligibilityAlert().message,
              "This feature only works for Electricity and Gas meters with GBP as their currency and a UK "
              "postcode. "
              "You also need at least 2 sets of readings so the app can estimate your usage");
    EXPECT_TRUE(refused([&] { meter(0).set("code", "EUR"); }));
    meter(0).set("code", "GBP");
    EXPECT_TRUE(refused([&] { meter(0).set("postcode", ""); }));
    meter(0).set("postcode", "SW1A 1AA");
    EXPECT_TRUE(refused([&] { meter(0).set("type", "Water"); }));
    meter(0).set("type", "Electricity");
    Value newest = meter(0).find("readings")->array()[0];
    EXPECT_TRUE(refused(
        [&] { meter(0).find("readings")->array().erase(meter(0).find("readings")->array().begin()); }));
    EXPECT_TRUE(service_.posts.empty());
    meter(0).find("readings")->array().insert(meter(0).find("readings")->array().begin(), newest);
    EXPECT_FALSE(refused([] {}));
}

TEST_F(PriceComparison, NothingIsSentWithoutAServiceOrTheInternet) {
    meter(1).set("house", "2");  // no partner: the comparison would start at once
    app_.configuration().set("prices.endpoint", "");
    press(0);
    EXPECT_EQ(last().message,
              "No price comparison service is configured. Add its address as \"endpoint\" in the section "
              "\"[prices]\" of numbrel.conf");
    app_.configuration().set("prices.endpoint", "ftp://prices.example");
    press(0);
    EXPECT_EQ(last().message,
              "The price comparison service \"ftp://prices.example\" in numbrel.conf is not an http or https "
              "address");
    app_.configuration().set("prices.endpoint", "http://127.0.0.1:8111");
    nav_.network.online = false;
    press(0);
    EXPECT_EQ(last(), noInternetAlert());
    EXPECT_TRUE(service_.posts.empty());
    nav_.network.online = true;
    press(0);
    ASSERT_EQ(service_.posts.size(), 1u);
    EXPECT_EQ(service_.posts[0].url, "http://127.0.0.1:8111/energy/ios/calc_ios.html?db=electric");
}

TEST_F(PriceComparison, OnePartnerOffersDualFuelAndASecondOneTakesTheOfferAway) {
    press(0);
    EXPECT_EQ(last().tag, kComparisonChoiceTag);
    EXPECT_TRUE(last().actionSheet);
    EXPECT_EQ(last().title, "Price Comparison");
    EXPECT_EQ(last().buttons, (std::vector<std::string>{"Electricity", "Dual Fuel", "Cancel"}));
    EXPECT_TRUE(service_.posts.empty());
    root_.answerAlert(kComparisonChoiceTag, 2);
    EXPECT_TRUE(service_.posts.empty());
    root_.answerAlert(kComparisonChoiceTag, 1);
    ASSERT_EQ(service_.posts.size(), 1u);
    EXPECT_TRUE(service_.posts[0].url.ends_with("?db=dual"));
    EXPECT_EQ(service_.posts[0].body,
              "done=profile&values[desiredPayType]=1&values[elecUsage]=3650&values[existingElecTariff]=1&"
              "values[existingPayType]=1&values[gasUsage]=7300&values[nightUsePercent]=0.0&"
              "values[postcode]=SW1A%201AA&values[profileIncomplete]=YES");
    root_.answerAlert(kComparisonChoiceTag, 0);
    EXPECT_TRUE(service_.posts.back().url.ends_with("?db=electric"));

    // From the gas meter the sheet offers "Gas".
    press(1);
    EXPECT_EQ(last().buttons[0], "Gas");

    // Two gas meters at the address: which one is meant cannot be told, so electricity goes alone.
    meter(2).set("type", "Gas");
    meter(2).set("postcode", "SW1A 1AA");
    meter(2).set("house", "1");
    EXPECT_EQ(dualPartner(app_.settings(), 0), std::nullopt);
    const std::size_t sent = service_.posts.size();
    press(0);
    ASSERT_EQ(service_.posts.size(), sent + 1);
    EXPECT_TRUE(service_.posts.back().url.ends_with("?db=electric"));
    EXPECT_EQ(last().tag, kPriceResultTag);
    // The gas meters still have one electricity partner each.
    EXPECT_EQ(dualPartner(app_.settings(), 1), 0);
    EXPECT_EQ(dualPartner(app_.settings(), 2), 0);
    // A different house is another household.
    meter(2).set("house", "1a");
    EXPECT_EQ(dualPartner(app_.settings(), 0), 1);
}

TEST_F(PriceComparison, EachFuelSendsItsOwnFields) {
    meter(0).set("house", "2");
    // Gas alone: no electricity figures and no tariff.
    PriceRequest gas = priceRequest(app_, 1, true);
    EXPECT_FALSE(gas.dual);
    EXPECT_EQ(gas.db(), "gas");
    EXPECT_EQ(gas.body,
              "done=profile&values[desiredPayType]=1&values[existingPayType]=1&values[gasUsage]=7300&"
              "values[postcode]=SW1A%201AA&values[profileIncomplete]=YES");
    EXPECT_DOUBLE_EQ(gas.costNow, 365);

    // Day and night registers: register 2 at night, 2 of the 10 kWh a day. The per-day night figure is
    // set against the annual total, as the service has always been sent it.
    meter(0).set("enabled", 2);
    meter(0).set("economy7", 2);
    Array& readings = meter(0).find("readings")->array();
    readings[0].set("reading", Value(Array{3920.0, 1230.0, 0.0}));
    readings[1].set("reading", Value(Array{1000.0, 500.0, 0.0}));
    setRate(0, 1, 0.10);
    PriceRequest electric = priceRequest(app_, 0, false);
    EXPECT_EQ(electric.db(), "electric");
    EXPECT_DOUBLE_EQ(electric.electricity, 3650);
    EXPECT_NEAR(electric.nightShare, 2 * 100 / 3650.0, 1e-12);
    EXPECT_EQ(electric.fields.find("values[nightUsePercent]")->string(), "0.1");
    EXPECT_EQ(electric.fields.find("values[existingElecTariff]")->string(), "2");
    EXPECT_EQ(electric.fields.find("values[elecUsage]")->string(), "3650");
    EXPECT_EQ(electric.fields.find("values[gasUsage]"), nullptr);
    EXPECT_NEAR(electric.costNow, (8 * 0.20 + 2 * 0.10) * 365, 1e-9);
}

TEST_F(PriceComparison, UsageFallingOverTheYearIsSentAsNone) {
    // R1 - R2 with the subtracted register running faster: a negative year.
    meter(0).set("enabled", 2);
    meter(0).set("minus", 2);
    Array& readings = meter(0).find("readings")->array();
    readings[0].set("reading", Value(Array{1365.0, 730.0, 0.0}));
    readings[1].set("reading", Value(Array{1000.0, 0.0, 0.0}));
    PriceRequest r = priceRequest(app_, 0, false);
    EXPECT_EQ(r.electricity, 0);
    EXPECT_EQ(r.costNow, 0);  // no cost is counted without usage
    EXPECT_EQ(r.fields.find("values[elecUsage]")->string(), "0");
    EXPECT_EQ(r.fields.find("values[nightUsePercent]")->string(), "0.0");
}

TEST_F(PriceComparison, TheResultTellsTheSavingAndMoreInfoOffersTheLink) {
    meter(1).set("house", "2");
    press(0);
    ASSERT_EQ(last().tag, kPriceResultTag);
    EXPECT_EQ(last().title, "Price Comparison");
    EXPECT_EQ(
        last().message,
        "Electricity usage 3650 kWh\nLocation SW1A 1AA\n\nCurrent cost £730.00\nCheapest supplier £612.34\n\n"
        "Potential savings £117.66");
    EXPECT_EQ(last().buttons, (std::vector<std::string>{"Cancel", "More Info"}));

    // More Info: the website, or the link by mail to the user's own address.
    nav_.mailer = true;
    root_.answerAlert(kPriceResultTag, 1);
    EXPECT_EQ(last().tag, kMoreInfoTag);
    EXPECT_EQ(last().title, "More Information");
    EXPECT_EQ(last().buttons, (std::vector<std::string>{"Cancel", "Website", "Email Link"}));
    root_.answerAlert(kMoreInfoTag, 1);
    EXPECT_EQ(nav_.urls, (std::vector<std::string>{kLink}));
    app_.settings().set("email", "me@example.org");
    root_.answerAlert(kMoreInfoTag, 2);
    ASSERT_EQ(nav_.mails.size(), 1u);
    EXPECT_EQ(nav_.mails[0].to, "me@example.org");
    EXPECT_EQ(nav_.mails[0].subject, "Electricity price comparison link (Numbrel)");
    EXPECT_TRUE(nav_.mails[0].html);
    EXPECT_EQ(
        nav_.mails[0].body,
        std::string(
            "To get a specific quote based on your postcode, your current supplier and tariff and your "
            "actual energy usage over the past 12 months, visit the following website:<p><a href=") +
            kLink + ">" + kLink +
            "</a><p>If you find that you can save money and want to switch suppliers, please use this link "
            "as it will help me to keep adding functionality to Numbrel at no extra cost to you. Thank you "
            "for your support!");
    root_.answerAlert(kMoreInfoTag, 0);
    EXPECT_EQ(nav_.urls.size(), 1u);
    nav_.network.online = false;
    root_.answerAlert(kMoreInfoTag, 1);
    EXPECT_EQ(last(), noInternetAlert());
    EXPECT_EQ(nav_.urls.size(), 1u);
    nav_.network.online = true;

    nav_.mailer = false;
    root_.answerAlert(kPriceResultTag, 1);
    EXPECT_EQ(last().buttons, (std::vector<std::string>{"Cancel", "Website"}));

    // Cheaper than the cheapest: no saving.
    service_.reply.body = "resultsCount=1\nnewPoundsPerAnnum=900\n";
    press(0);
    EXPECT_TRUE(last().message.ends_with("Cheapest supplier £900.00\n\nPotential savings £0.00"));
    // A result without a link has nothing more to offer.
    root_.answerAlert(kPriceResultTag, 1);
    EXPECT_EQ(last().message, "The service gave no link to a specific quote");
    root_.answerAlert(kMoreInfoTag, 1);
    EXPECT_EQ(nav_.urls.size(), 1u);
}

TEST_F(PriceComparison, DualFuelShowsBothUsagesFirst) {
    PriceRequest r = priceRequest(app_, 1, true);
    ASSERT_TRUE(r.dual);
    EXPECT_EQ(r.electricityMeter, 0);
    EXPECT_EQ(r.gasMeter, 1);
    EXPECT_EQ(r.meter, 1);
    meter(1).set("units", "m³");
    EXPECT_EQ(resultAlert(app_, r, scanQuote("resultsCount=2 newPoundsPerAnnum=1000.5")).message,
              "Electricity usage 3650 kWh\nGas usage 7300 m³\nLocation SW1A 1AA\n\nCurrent cost £1095.00\n"
              "Cheapest supplier £1000.50\n\nPotential savings £94.50");
}

TEST_F(PriceComparison, FailuresOfferTheLinkWhenTheReplyHadOne) {
    meter(1).set("house", "2");
    nav_.mailer = true;
    service_.reply = PriceReply{{}, "Connection refused", false};
    press(0);
    EXPECT_EQ(last().title, "Failed to get prices!");
    EXPECT_EQ(last().message, "Please check your usage levels and postcode");
    EXPECT_EQ(last().buttons, (std::vector<std::string>{"OK"}));

    service_.reply =
        PriceReply{std::string("resultsCount=0\nnewPoundsPerAnnum=1\nsearchURL=") + kLink, {}, false};
    press(0);
    EXPECT_EQ(last().tag, kMoreInfoTag);
    EXPECT_EQ(
        last().message,
        "Please check your usage levels and postcode. For a specific quote select the Website button below. "
        "Alternatively you can email yourself a link to do this on a computer");
    EXPECT_EQ(last().buttons, (std::vector<std::string>{"OK", "Website", "Email Link"}));
    root_.answerAlert(kMoreInfoTag, 2);
    EXPECT_EQ(nav_.mails.back().to, "");
    nav_.mailer = false;
    press(0);
    EXPECT_EQ(
        last().message,
        "Please check your usage levels and postcode. For a specific quote select the Website button below");
    EXPECT_EQ(last().buttons, (std::vector<std::string>{"OK", "Website"}));

    // A failure after a result forgets the earlier link.
    service_.reply = PriceReply{"resultsCount=0", {}, false};
    press(0);
    const std::size_t opened = nav_.urls.size();
    root_.answerAlert(kMoreInfoTag, 1);
    EXPECT_EQ(nav_.urls.size(), opened);
}

TEST_F(PriceComparison, TheWaitCanBeCancelledAndThenNothingIsShown) {
    meter(1).set("house", "2");
    nav_.holdJobs = true;
    press(0);
    ASSERT_EQ(nav_.heldJobs.size(), 1u);
    const Job& job = nav_.heldJobs[0].second;
    EXPECT_EQ(job.title, "Please Wait");
    EXPECT_EQ(job.message, "Getting energy supplier prices for your usage and postcode ...");
    EXPECT_TRUE(job.cancellable);
    const std::size_t shown = nav_.alerts.size();
    ASSERT_TRUE(nav_.finishJob(true));
    EXPECT_EQ(service_.posts.size(), 1u);
    EXPECT_EQ(nav_.alerts.size(), shown);
    press(0);
    ASSERT_TRUE(nav_.finishJob(false));
    EXPECT_EQ(last().tag, kPriceResultTag);
}

TEST(PriceReplies, OnlyTheThreeKeysAreReadAndTheLinkMustBeSafe) {
    PriceQuote q = scanQuote(
        "x resultsCount= 7\r\nnewPoundsPerAnnum=\t812.5\r\nsearchURL=http://a.example/q?db=gas\r\n");
    EXPECT_EQ(q.count, 7);
    EXPECT_EQ(q.price, 812.5);
    EXPECT_EQ(q.moreInfo, "http://a.example/q?db=gas");
    EXPECT_TRUE(q.found());
    // The keys are looked for from the start each time, in any order.
    q = scanQuote("searchURL=https://a.example/x\nnewPoundsPerAnnum=1e3 resultsCount=+2");
    EXPECT_EQ(q.count, 2);
    EXPECT_EQ(q.price, 1000);
    EXPECT_EQ(q.moreInfo, "https://a.example/x");
    EXPECT_EQ(scanQuote("resultsCount=99999999999999999999999999").count,
              std::numeric_limits<long long>::max());
    EXPECT_FALSE(scanQuote("resultsCount=-3 newPoundsPerAnnum=5").found());
    EXPECT_FALSE(scanQuote("resultsCount=3 newPoundsPerAnnum=inf").found());
    EXPECT_FALSE(scanQuote("resultsCount=3 newPoundsPerAnnum=1e999").found());
    EXPECT_FALSE(scanQuote("resultsCount=3 newPoundsPerAnnum=").found());
    EXPECT_FALSE(scanQuote("resultsCount=x newPoundsPerAnnum=3").found());
    EXPECT_EQ(scanQuote("newPoundsPerAnnum=.25").price, 0.25);
    EXPECT_FALSE(scanQuote("").found());
    EXPECT_EQ(scanQuote(std::string_view("\0resultsCount=1\0", 16)).count, 1);
    // Links that are no web address, or could break out of the mail's markup, are dropped.
    for (const char* reply : {"searchURL=javascript:alert(1)", "searchURL=file:///etc/passwd",
                              "searchURL=http://a.example/x\"onclick=y", "searchURL=http://a.example/<b>",
                              "searchURL=http://a b", "searchURL=https://", "searchURL=\nhttp://a.example/"})
        EXPECT_EQ(scanQuote(reply).moreInfo, "") << reply;
    EXPECT_EQ(scanQuote("searchURL=http://a.example/" + std::string(3000, 'x')).moreInfo, "");
    EXPECT_EQ(scanQuote("searchURL=HTTPS://A.example/x").moreInfo, "HTTPS://A.example/x");
}

TEST(PriceForm, ValuesAreEscapedAndTheAddressGetsThePage) {
    EXPECT_EQ(formEscape("SW1A 1AA"), "SW1A%201AA");
    EXPECT_EQ(formEscape(";:@&=/+"), "%3B%3A%40%26%3D%2F%2B");
    EXPECT_EQ(formEscape("-._~!$'()*,"), "-._~!$'()*,");
    EXPECT_EQ(formEscape("100%?#[]\"<>\\"), "100%25%3F%23%5B%5D%22%3C%3E%5C");
    EXPECT_EQ(formEscape("Zähler\n"), "Z%C3%A4hler%0A");
    EXPECT_EQ(formEscape(std::string_view("a\0b", 3)), "a%00b");
    EXPECT_EQ(formBody(Value::makeDictionary({{"b", "x y"}, {"a", "1&2"}})), "a=1%262&b=x%20y");
    EXPECT_EQ(formBody(Value::emptyDictionary()), "");

    EXPECT_EQ(priceUrl("http://prices.example", "gas"),
              "http://prices.example/energy/ios/calc_ios.html?db=gas");
    EXPECT_EQ(priceUrl("http://prices.example//", "dual"),
              "http://prices.example/energy/ios/calc_ios.html?db=dual");
    EXPECT_EQ(priceUrl("https://p.example:8443/energy/ios/calc_ios.html", "electric"),
              "https://p.example:8443/energy/ios/calc_ios.html?db=electric");
    EXPECT_TRUE(usablePriceService("http://prices.example"));
    EXPECT_TRUE(usablePriceService("HTTPS://prices.example:8443/base"));
    for (const char* bad :
         {"", "prices.example", "ftp://prices.example", "http://", "http:///x", "http://:80",
          "http://a.example/?q=1", "http://user@a.example", "http://a b.example"})
        EXPECT_FALSE(usablePriceService(bad)) << bad;
}

TEST(PriceMail, TheSubjectFollowsTheLinksDatabase) {
    EXPECT_EQ(linkMail("http://x/?db=dual&a=1", "").subject, "Dual fuel price comparison link (Numbrel)");
    EXPECT_EQ(linkMail("http://x/?a=1&db=gas", "").subject, "Gas price comparison link (Numbrel)");
    EXPECT_EQ(linkMail("http://x/?db=electric", "").subject, "Electricity price comparison link (Numbrel)");
    EXPECT_EQ(linkMail("http://x/?db=water", "").subject, "Price comparison link (Numbrel)");
    EXPECT_EQ(linkMail("http://x/", "").subject, "Price comparison link (Numbrel)");
    // A client that takes plain text gets the link once, between paragraphs.
    const Mail mail = linkMail("http://x/?db=gas&a=1", "");
    EXPECT_NE(textOfMarkup(mail.body).find("website:\n\nhttp://x/?db=gas&a=1\n\nIf you find"),
              std::string::npos);
    EXPECT_EQ(textOfMarkup("a<br/>b &lt;c&gt; &amp;&quot;&#39; &nbsp;<B>d</B><unclosed"),
              "a\nb <c> &\"' &nbsp;d");
}

}  // namespace
}  // namespace numbrel
