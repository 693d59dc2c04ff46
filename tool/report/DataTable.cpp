#include "DataTable.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <ostream>
#include <unordered_map>
#include <utility>

#include "NaturalOrder.h"
#include "TerminalText.h"

namespace tool {

namespace {

/// More rows than these only the script shows.
constexpr std::size_t kFirstRows = 200;

constexpr std::string_view kDash = "–";  // in place of an empty text

/// A text for a script element of type application/json, where only "<" could end the element.
std::string scriptText(const std::string& text) {
  // Nearly every text is plain, and much faster written without the JSON library.
  const bool isPlain = std::all_of(text.begin(), text.end(), [](char c) {
    return c >= ' ' && c <= '~' && c != '"' && c != '\\' && c != '<';
  });
  if (isPlain) return '"' + text + '"';
  std::string json = nlohmann::json(text).dump();
  for (std::size_t place = 0; (place = json.find('<', place)) != std::string::npos;)
    json.replace(place, 1, "\\u003c");
  return json;
}

/// The distinct texts of a column in natural order, and each row's place among them.
struct Dictionary {
  std::vector<const std::string*> texts;
  std::vector<std::size_t> places;
};

Dictionary dictionaryOf(const std::vector<std::string>& texts) {
  Dictionary dictionary;
  std::unordered_map<std::string_view, std::size_t> known;
  for (const std::string& text : texts) {
    const auto [entry, isNew] = known.try_emplace(text, dictionary.texts.size());
    if (isNew) dictionary.texts.push_back(&text);
    dictionary.places.push_back(entry->second);
  }
  // Sorted here, where the natural order is: the script sorts rows by these numbers alone.
  std::vector<std::size_t> order(dictionary.texts.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  const auto isBefore = [&](std::size_t left, std::size_t right) {
    return naturallyLess(*dictionary.texts[left], *dictionary.texts[right]);
  };
  // Rows come by server and place: some columns, of many different texts, are in order already.
  if (!std::is_sorted(order.begin(), order.end(), isBefore)) std::sort(order.begin(), order.end(), isBefore);
  std::vector<std::size_t> ranks(order.size());
  std::vector<const std::string*> sorted;
  for (const std::size_t place : order) {
    ranks[place] = sorted.size();
    sorted.push_back(dictionary.texts[place]);
  }
  for (std::size_t& place : dictionary.places) place = ranks[place];
  dictionary.texts = std::move(sorted);
  return dictionary;
}

template <class Items, class Write>
void writeList(std::ostream& out, const Items& items, Write write) {
  out << '[';
  const char* separator = "";
  for (const auto& item : items) {
    out << std::exchange(separator, ",");
    write(item);
  }
  out << ']';
}

}  // namespace

std::string htmlText(std::string_view value) {
  constexpr std::array<std::pair<char, const char*>, 5> kEntities{
      {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}}};
  std::string html;
  for (const char c : forTerminal(value)) {
    const auto* const entity =
        std::find_if(kEntities.begin(), kEntities.end(), [c](const auto& pair) { return pair.first == c; });
    if (entity == kEntities.end()) {
      html += c;
    } else {
      html += entity->second;
    }
  }
  return html;
}

DataTable::DataTable(std::string id, std::string title, std::string what, std::vector<Column> columns)
    : m_id(std::move(id)),
      m_title(std::move(title)),
      m_what(std::move(what)),
      m_columns(std::move(columns)),
      m_choice(m_columns.size()) {}

void DataTable::add(std::vector<std::string> texts, std::string_view style) {
  for (std::size_t i = 0; i < m_columns.size(); ++i)
    // Made safe once, here, for the rows in the page and for the data alike.
    m_columns[i].texts.push_back(texts[i].empty() ? std::string(kDash) : forTerminal(texts[i]));
  m_styles.emplace_back(style);
}

void DataTable::write(std::ostream& out) const {
  out << R"(<section class="data" id=")" << m_id << "\" aria-labelledby=\"" << m_id << "-title\">\n<h2 id=\""
      << m_id << "-title\">" << htmlText(m_title) << "</h2>\n";
  writeControls(out);
  out << "<div class=\"scroll\"><table>\n<colgroup>";
  for (const Column& column : m_columns) out << "<col style=\"width:" << column.share << "%\">";
  out << "</colgroup>\n<thead><tr>";
  for (const Column& column : m_columns)
    out << R"(<th scope="col"><button type="button">)" << htmlText(column.title) << "</button></th>";
  out << "</tr></thead>\n<tbody>\n";
  writeFirstRows(out);
  out << "</tbody>\n</table></div>\n";
  if (rows() > kFirstRows)
    out << "<noscript><p>These are the first " << kFirstRows << " of " << rows() << ' ' << m_what
        << "; a browser that runs scripts shows them all.</p></noscript>\n";
  writeData(out);
  out << "</section>\n";
}

void DataTable::writeControls(std::ostream& out) const {
  out << "<div class=\"controls\"><label>Filter <input type=\"search\" autocomplete=\"off\"></label>\n";
  if (m_choice < m_columns.size())
    out << "<label>" << htmlText(m_columns[m_choice].title) << " <select data-column=\"" << m_choice
        << "\"><option value=\"\">all</option></select></label>\n";
  out << "<output data-what=\"" << m_what << "\"></output></div>\n";
}

void DataTable::writeFirstRows(std::ostream& out) const {
  for (std::size_t row = 0; row < std::min(rows(), kFirstRows); ++row) {
    out << "<tr class=\"" << m_styles[row] << "\">";
    for (const Column& column : m_columns)
      out << "<td data-title=\"" << htmlText(column.title) << "\">" << htmlText(column.texts[row]) << "</td>";
    out << "</tr>\n";
  }
}

void DataTable::writeData(std::ostream& out) const {
  // Most texts of a fleet repeat. With each of them written once, 100,000 drives stay a page of some
  // megabytes.
  const Dictionary styles = dictionaryOf(m_styles);
  const auto writeColumn = [&out](const std::string& title, const Dictionary& dictionary) {
    out << R"({"title":)" << scriptText(title) << R"(,"texts":)";
    writeList(out, dictionary.texts, [&out](const std::string* text) { out << scriptText(*text); });
    out << R"(,"places":)";
    writeList(out, dictionary.places, [&out](std::size_t place) { out << place; });
    out << '}';
  };
  out << R"(<script type="application/json">{"columns":)";
  writeList(out, m_columns,
            [&](const Column& column) { writeColumn(column.title, dictionaryOf(column.texts)); });
  out << ",\"styles\":";
  writeColumn("", styles);
  out << "}</script>\n";
}

}  // namespace tool
