// The main screen: one page per meter (a short table and its graphs), the register, period and range
// controls, and the settings menu. The GUI draws what this model says and reports what the user did.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "main/graph_series.h"
#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;

class RootViewController : public Screen {
public:
    // documentsDir: the folder of backups and CSV files (the gear menu's backups screen).
    RootViewController(NumbrelAppDelegate& app, Navigator& navigator, std::string documentsDir = {});

    // The meter shown, and its page's table.
    std::string title() const override;
    std::vector<Section> sections() const override { return sections(meterIndex()); }
    void answerAlert(int tag, int button) override;

    // The bar's buttons: the meters list, and "+" (a reading for the meter shown).
    void metersAction();
    void addAction();
    // A row of a page's table was selected: Readings opens the list (when there are readings),
    // Current the current period summary.
    void selectPageRow(int page, int section, int row);
    // The gear button: the gear menu (an action sheet).
    void settingsAction();
    // The power-switch button: the price comparison of the meter shown, when it can be compared, a
    // service is configured and the internet can be reached; with a partner of the other fuel, the
    // user chooses one fuel or both first.
    void actionAction();
    // Sends the comparison (both fuels when dual and the meter has its partner) as a job with Cancel;
    // the result or failure is shown when the reply has been read.
    void compareAction(bool dual);

    // The window: narrower than 700 points is a phone, else a tablet; wider than tall with the
    // setting "landscape" on is landscape (the range control and range table apply).
    void setWindowSize(double width, double height);
    bool tablet() const { return width_ >= 700; }
    bool landscape() const;

    int numberOfPages() const;
    int meterIndex() const;     // the page shown ("meter")
    void pageAction(int page);  // the pager settled on a page
    int tariffIndex() const { return tariffIndex_; }
    Period period() const;
    int rangeIndex() const;
    // Whether a page holds graph views: the visible page and its neighbours only.
    bool holdsGraphs(int page) const;
    bool showPageControl() const { return numberOfPages() <= 9; }

    struct SegmentControl {
        int tag = 0;  // 1 register, 2 period, 3 range
        std::vector<std::string> items;
        int selected = 0;
    };
    std::vector<SegmentControl> toolbar() const;
    void segmentAction(int tag, int index);

    // Cost when the meter has costs and "graph" is on, else usage.
    bool graphShowsCost(int page) const;
    // Flips "graph" (a double tap on a graph); nothing for a meter without costs.
    void graphAction();

    // What the graphs of a page show: usage, or cost, or (tablets, meters with costs) both.
    struct GraphSpec {
        SeriesRequest request;
        bool cost = false;
    };
    std::vector<GraphSpec> graphs(int page);  // may pull the range back and store it

    // The page's table: the Readings row, the change row and the Current row, then graph rows
    // (action kGraphRow, detail "usage" or "cost"), with the footer tip.
    std::vector<Section> sections(int page) const;
    enum PageRow { kReadingsRow = 1, kChangeRow, kCurrentRow, kGraphRow };

    // A page's graph was drawn: its current bucket and average fill the Current row.
    void averageAction(int page, double current, double average, bool cost);
    // The figure the Current row shows for a page (usage or cost), for the current period summary.
    struct CurrentFigure {
        double value = 0;
        bool cost = false;
    };
    std::optional<CurrentFigure> currentFigure(int page) const;

    // The gear menu: "Latest Backup: <date>" or "No Backups Found!", and the entries that exist.
    Alert settingsSheet(const std::string& documentsDir) const;

    static constexpr int kSettingsSheetTag = 20;
    static constexpr int kReviewTag = 30;

    // The screen is shown: the tour starts when "tour" is on; otherwise, once the "review" date has
    // passed, the review question is asked.
    void appearAction();
    // The answer to the review question: "No Thanks!" never asks again, "OK" opens the review page
    // (when the internet can be reached) and never asks again, "Remind Me Later" asks in seven days.
    void answerReview(int button);

protected:
    // A row of the page shown (a row selected through the stack, as scripts do).
    void select(const Row& row) override;

private:
    void openPageRow(int page, int action);
    const Value* meter(int page) const;
    std::string readingsDetail(int page) const;
    std::string changeDetail(int page) const;

    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    std::string documentsDir_;
    double width_ = 390, height_ = 844;
    int tariffIndex_ = 0;
    std::map<int, std::string> current_;  // Current row text per page, from the last drawing
    std::map<int, CurrentFigure> figures_;
    void answerTour(int tag, int button);
    void answerComparison(int tag, int button);
    std::string moreInfo_;  // the link to the full quote from the last reply
    int nextTag_ = 100;     // the tour's step after the one shown; 100 when no tour runs
};

// "Latest Backup: <short date>" from the newest backup file name in the folder, or
// "No Backups Found!".
std::string latestBackupLine(const std::string& documentsDir, const class Environment& env);

}  // namespace numbrel
