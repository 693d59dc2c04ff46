#include "ReportPage.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "DataTable.h"
#include "SampleDocuments.h"
#include "TestSupport.h"

using namespace samples;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class ReportPage : public testing::Test {
 protected:
  static std::string page(const std::vector<std::string>& documents) {
    std::ostringstream out;
    tool::writeReport(out, tool::readResults(write(documents, "server")));
    return out.str();
  }

  /// The data of one table of the page.
  static nlohmann::json dataOf(const std::string& html, const std::string& id) {
    const std::string start = "<script type=\"application/json\">";
    const std::size_t table = html.find("id=\"" + id + "\"");
    const std::size_t place = html.find(start, table) + start.size();
    return nlohmann::json::parse(html.substr(place, html.find("</script>", place) - place));
  }

  WorkingFolder m_folder;
};

TEST_F(ReportPage, BeginsInTheWayByWhichItIsKnown) {
  EXPECT_THAT(page({inventory("")}), StartsWith(std::string(tool::kReportStart)));
}

TEST_F(ReportPage, ObeysNoCharacterThatATerminalWouldObey) {
  const std::string html = page({inventory(
      "<Device componentID=\"1\" display=\"a\u202Eb\u009Bc\"><Application version=\"1\"/></Device>")});
  EXPECT_THAT(html, HasSubstr(">a.b.c<"));
  EXPECT_THAT(html, HasSubstr("\"a.b.c\""));
  EXPECT_THAT(html, Not(HasSubstr("\u202E")));
}

TEST_F(ReportPage, EscapesEveryValueAndLoadsNothing) {
  const std::string html = page({inventory(
      R"(<Device componentID="1" display="&lt;/script&gt;&lt;b&gt;" enum="&quot;&apos;&amp;"><Application version="&lt;!--"/></Device>)"
      "<SPStatus result=\"false\"><Message>&lt;img src=x></Message></SPStatus>")});
  EXPECT_THAT(html, HasSubstr("&lt;/script&gt;&lt;b&gt;"));
  EXPECT_THAT(html, HasSubstr("&quot;&#39;&amp;"));
  EXPECT_EQ(dataOf(html, "drives")["columns"][3]["texts"],
            (nlohmann::json{"</script><b>", "not identified"}));
  for (const char* const raw :
       {"<img", "<b>", "</script><b", "\"<!--", "<link", "href=", "http:", "https:", "@import", "url("})
    EXPECT_THAT(html, Not(HasSubstr(raw)));
}

TEST_F(ReportPage, HasARowADriveFailuresFirst) {
  const std::string html = page({inventory(listed("S1") + listed("S2") + failed()), "<broken"});
  const nlohmann::json drives = dataOf(html, "drives");
  const nlohmann::json& outcome = drives["columns"][1];
  EXPECT_EQ(outcome["texts"], (nlohmann::json{"failed", "listed"}));
  EXPECT_EQ(outcome["places"], (nlohmann::json{0, 1, 1}));
  EXPECT_LT(html.find("<tr class=\"bad\"><td data-title=\"Server\">"),
            html.find("<td data-title=\"Outcome\">listed"));
  EXPECT_THAT(html, HasSubstr("<span class=\"label\">listed</span><span class=\"track\"><span class=\"fill\" "
                              "style=\"width:67%\"></span></span><span class=\"number\">2</span>"));
  EXPECT_THAT(
      html,
      HasSubstr("<td data-title=\"Document\">server2.xml</td><td data-title=\"Remark\">not well-formed"));
}

TEST_F(ReportPage, NeverMixesOldAndNewRevisions) {
  const std::string html = page({inventory(listed("S1", "One", "R2")), update(updated("S1", "One", "R1"))});
  EXPECT_THAT(
      html,
      ContainsRegex("Models by running revision</h2>[^!]*<th scope=\"col\">R2</th><th scope=\"col\">all"));
  EXPECT_THAT(
      html,
      ContainsRegex(
          "Models by revision before an update</h2>[^!]*<th scope=\"col\">R1</th><th scope=\"col\">all"));
  EXPECT_THAT(html, HasSubstr("R1 before the update"));
}

TEST_F(ReportPage, WarnsWhereThereAreNoDrives) {
  const std::string html = page({inventory("")});
  EXPECT_THAT(html, HasSubstr("<p class=\"note warning\">There are no drives; nobody can tell why:"));
  EXPECT_THAT(html, HasSubstr("<li class=\"warning\"><strong>0</strong> drives</li>"));
  EXPECT_THAT(html, Not(HasSubstr("id=\"drives\"")));
}

TEST_F(ReportPage, SaysWhyAServerHasNoDrivesWhereItsVerdictDoes) {
  const std::string html = page({verdict("", R"("lost: no answer", "see <b>")"), verdict("", "")});
  EXPECT_THAT(html, HasSubstr("<p class=\"note warning\">There are no drives; the remarks say why.</p>"));
  EXPECT_THAT(
      html,
      HasSubstr("server1.xml</td><td data-title=\"Remark\">no drives: lost: no answer; see &lt;b&gt;</td>"));
  EXPECT_THAT(html, HasSubstr("server2.xml</td><td data-title=\"Remark\">no drives; nobody can tell why:"));
}

TEST_F(ReportPage, RemarksOnARunAreShownBesideItsDrives) {
  const std::string html = page({verdict(R"({"state": "updated"})", R"("cut off", "resumed")")});
  EXPECT_THAT(html, HasSubstr("server1.xml</td><td data-title=\"Remark\">cut off</td>"));
  EXPECT_THAT(html, HasSubstr("server1.xml</td><td data-title=\"Remark\">resumed</td>"));
}

TEST_F(ReportPage, MarksDrivesThatNeedALook) {
  const nlohmann::json drives = dataOf(page({verdict(R"({"state": "undecided"})", "")}), "drives");
  EXPECT_THAT(drives.dump(), HasSubstr("warning"));
}

TEST_F(ReportPage, SumsUpRareRevisionsAndModels) {
  std::string drives;
  for (int i = 0; i < 60; ++i)
    drives += listed("S" + std::to_string(i), "Model " + std::to_string(i), "R" + std::to_string(i));
  const std::string html = page({inventory(drives)});
  EXPECT_THAT(html, HasSubstr("<th scope=\"row\">others</th>"));
  EXPECT_THAT(html, HasSubstr("<td>21</td></tr>"));  // 60 models less the 39 that have a row
}

TEST(DataTable, KeepsItsRowsAsPlacesAmongSortedTexts) {
  tool::DataTable table("t", "Title", "things", {{"A", 50}, {"B", 50}});
  table.add({"x 10", "<"}, "");
  table.add({"x 9", ""}, "bad");
  table.add({"x 10", "\xFF"}, "");
  std::ostringstream out;
  table.write(out);
  EXPECT_THAT(out.str(), HasSubstr(R"({"title":"A","texts":["x 9","x 10"],"places":[1,0,1]})"));
  EXPECT_THAT(out.str(), HasSubstr("\"\\u003c\""));
  EXPECT_THAT(out.str(),
              HasSubstr("<tr class=\"bad\"><td data-title=\"A\">x 9</td><td data-title=\"B\">–</td></tr>"));
  EXPECT_THAT(out.str(), Not(HasSubstr("<noscript>")));
  for (int i = 0; i < 200; ++i) table.add({"y", "z"}, "");
  std::ostringstream longer;
  table.write(longer);
  EXPECT_THAT(longer.str(), HasSubstr("<noscript><p>These are the first 200 of 203 things;"));
}

}  // namespace
