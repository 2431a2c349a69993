// The readings list of one meter: every reading, newest first, in sections by calendar month, with the
// usage and cost of the interval each reading closes scaled to the chosen period; the bill figures;
// bills-only mode; deleting readings.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "plist/value.h"
#include "ui/screen.h"

namespace numbrel {

class NumbrelAppDelegate;

class ReadingsViewController : public Screen {
public:
    ReadingsViewController(NumbrelAppDelegate& app, Navigator& navigator, int meterIndex);

    // 0 "∆" (the whole interval), 1 "D", 2 "W", 3 "M", 4 "Q", 5 "Y".
    int periodIndex() const { return periodIndex_; }
    void periodAction(int index);
    std::vector<std::string> periodItems(bool largeScreen) const;

    bool bills() const { return bills_; }
    std::string title() const override;
    // The list as rows of a table (date, and usage with cost), each carrying its reading's index.
    std::vector<Section> sections() const override;
    void answerAlert(int tag, int button) override;

    struct ReadingRow {
        int index = 0;                       // into the meter's "readings"
        std::string date;                    // "Wed 5, 07:15"
        std::vector<std::string> registers;  // "12345.6", or "D: 123.4", "R1: 1.0" ...; "Total" last when 2+
        std::vector<std::string> registerUsage;  // each register's usage over the interval (2+ registers)
        std::string usage;                       // "%@ %@": usage and units; empty for the oldest
        std::string cost;                        // empty without costs or for the oldest
        bool bill = false;                       // drawn in the highlight colour
    };
    struct ReadingSection {
        std::string title;  // "March 2014"
        std::vector<ReadingRow> rows;
    };
    std::vector<ReadingSection> readingSections() const;

    // Removes a reading; the screen closes when none is left.
    void deleteReading(int index);
    // Opens reading entry on a reading (index into the meter's "readings").
    void editReading(int index);

    // The usage action sheet, and its answers: 0 "Since Last Bill", 1 "Next Bill", 2 "Between Bills"
    // (or "Between Readings" in bills mode).
    void usageAction();
    Alert usageSheet();
    void answerUsageSheet(int button);
    void doneAction();  // leaves bills mode

    // The compose button: the export of this meter, or a choice of this meter or all when there are
    // several. The file goes to a new mail when there is a mail client, else where the user chooses
    // (a job writes it); it is said where it went.
    void exportAction();
    void exportReadings(bool all);

    static constexpr int kUsageSheetTag = 1;
    static constexpr int kExportSheetTag = 2;
    static constexpr int kBillAlertTag = 3;

private:
    const Value& meter() const;
    std::string exportName(bool all) const;
    void writeExport(bool all, const std::string& path, std::function<void()> then);
    void findBills();
    std::string usageText(double value) const;

    NumbrelAppDelegate& app_;
    Navigator& navigator_;
    int meter_;
    int periodIndex_ = 0;
    bool bills_ = false;
    int last_ = -1, second_ = -1;
};

}  // namespace numbrel
