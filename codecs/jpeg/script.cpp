// Reading scripts, the default one, and the checks.
#include "jpeg/script.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <numeric>

#include "common/error.h"

namespace zelcodecs {

using namespace jpeg;

namespace {

// Reads numbers and signs, passing over white space and comments.
class ScriptReader {
 public:
  explicit ScriptReader(const std::string& text) : text_(text) {}

  bool atEnd() {
    skip();
    return at_ == text_.size();
  }
  bool take(char sign) {
    if (atEnd() || text_[at_] != sign) return false;
    ++at_;
    return true;
  }
  // A number, perhaps behind one comma or dash.
  bool numberFollows() {
    if (!take(',')) take('-');
    return !atEnd() && text_[at_] >= '0' && text_[at_] <= '9';
  }
  int number() {
    if (!numberFollows()) fail("a number is expected");
    int n = 0;
    for (; at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9'; ++at_)
      if ((n = 10 * n + (text_[at_] - '0')) > 255) fail("a number that is too large");
    return n;
  }
  [[noreturn]] void fail(const std::string& what) const {
    const auto line = std::count(text_.begin(), text_.begin() + long(at_), '\n') + 1;
    throw Error(ErrorKind::argument, "scan script, line " + std::to_string(line) + ": " + what);
  }

 private:
  void skip() {
    for (; at_ < text_.size(); ++at_) {
      if (text_[at_] == '#')
        at_ = std::min(text_.find('\n', at_), text_.size() - 1);
      else if (!std::isspace(static_cast<unsigned char>(text_[at_])))
        return;
    }
  }
  const std::string& text_;
  size_t at_ = 0;
};

}  // namespace

std::vector<JpegScan> parseScanScript(const std::string& text) {
  std::vector<JpegScan> scans;
  ScriptReader in(text);
  while (!in.atEnd()) {
    JpegScan s;
    do {
      s.components.push_back(in.number());
    } while (in.numberFollows());
    if (in.take(':'))
      for (int* value : {&s.ss, &s.se, &s.ah, &s.al}) *value = in.number();
    if (!in.atEnd() && !in.take(';')) in.fail("';' is expected");
    scans.push_back(s);
  }
  return scans;
}

std::vector<JpegScan> defaultScanScript(int components, bool ycc) {
  std::vector<int> all(size_t(components), 0);
  std::iota(all.begin(), all.end(), 0);
  std::vector<JpegScan> scans = {{all, 0, 0, 0, 1}};
  const auto add = [&](const std::vector<int>& order, int ss, int se, int ah, int al) {
    for (int c : order) scans.push_back({{c}, ss, se, ah, al});
  };
  if (ycc && components == 3) {
    add({0}, 1, 5, 0, 2);
    add({2, 1}, 1, 63, 0, 1);  // chroma has little to refine: all of it but one bit at once
    add({0}, 6, 63, 0, 2);
    add({0}, 1, 63, 2, 1);
    scans.push_back({all, 0, 0, 1, 0});
    add({2, 1, 0}, 1, 63, 1, 0);
  } else {
    add(all, 1, 5, 0, 2);
    add(all, 6, 63, 0, 2);
    add(all, 1, 63, 2, 1);
    scans.push_back({all, 0, 0, 1, 0});
    add(all, 1, 63, 1, 0);
  }
  return scans;
}

namespace jpeg {

namespace {

// Turns the scans of a script, one by one, into those of a file, and follows what they have coded.
class ScriptChecker {
 public:
  ScriptChecker(const Frame& frame, bool progressive, const std::vector<int>& tableOf)
      : frame_(frame), progressive_(progressive), tableOf_(tableOf), known_(frame.components.size()) {
    for (auto& k : known_) k.fill(-1);
  }

  Scan next(const JpegScan& s) {
    ++number_;
    Scan scan;
    scan.ss = s.ss;
    scan.se = s.se;
    scan.ah = s.ah;
    scan.al = s.al;
    takeComponents(s, &scan);
    checkSelection(scan);
    for (int i = 0; i < scan.count; ++i) follow(scan, &known_[size_t(scan.parts[i].component)]);
    return scan;
  }
  void requireAll() const {
    for (size_t c = 0; c < known_.size(); ++c)
      if (known_[c][0] < 0)
        throw Error(ErrorKind::argument, "the scan script leaves out component " + std::to_string(c));
  }

 private:
  using Known = std::array<int, 64>;  // the lowest bit coded so far, -1 for none

  [[noreturn]] void refuse(const std::string& what) const {
    throw Error(ErrorKind::argument, "scan " + std::to_string(number_) + " of the script: " + what);
  }

  void takeComponents(const JpegScan& s, Scan* scan) const {
    if (s.components.empty() || s.components.size() > kMaxComponents) refuse("a scan has 1 to 4 components");
    int blocks = 0;
    for (const int c : s.components) {
      if (c >= int(known_.size()) || c < 0) refuse("the picture has no component " + std::to_string(c));
      if (scan->count && c <= scan->parts[scan->count - 1].component) refuse("components must be in ascending order");
      const int table = tableOf_[size_t(c)];
      scan->parts[scan->count++] = {c, table, table};
      blocks += frame_.components[size_t(c)].h * frame_.components[size_t(c)].v;
    }
    if (scan->interleaved() && blocks > kMaxBlocksPerMcu) refuse("more than 10 blocks in an MCU");
  }

  void checkSelection(const Scan& s) const {
    if (!progressive_) {
      if (s.ss != 0 || s.se != 63 || s.ah != 0 || s.al != 0) refuse("a sequential scan codes all positions at once");
      return;
    }
    const bool band = s.ss == 0 ? s.se == 0 : s.ss > 0 && s.ss <= s.se && s.se < 64;
    if (!band) refuse("a scan codes position 0, or positions from 1 to 63");
    if (s.ss > 0 && s.interleaved()) refuse("a scan of positions above 0 has one component");
    if (s.al < 0 || s.al > 13 || s.ah < 0 || (s.ah && s.ah != s.al + 1))
      refuse("bits are refined one by one, from 13 down");
  }

  void follow(const Scan& scan, Known* known) const {
    Known& k = *known;
    if (scan.ss > 0 && k[0] < 0) refuse("position 0 of a component must come first");
    for (size_t z = size_t(scan.ss); z <= size_t(scan.se); ++z) {
      if (k[z] < 0 ? scan.ah != 0 : scan.ah != k[z]) refuse("it does not follow on the scans before it");
      if (k[z] == 0) refuse("it codes something twice");
      k[z] = scan.al;
    }
  }

  const Frame& frame_;
  const bool progressive_;
  const std::vector<int>& tableOf_;
  std::vector<Known> known_;  // of each component
  int number_ = 0;
};

}  // namespace

std::vector<Scan> scansOf(const std::vector<JpegScan>& script, const Frame& frame, bool progressive,
                          const std::vector<int>& tableOf) {
  ScriptChecker checker(frame, progressive, tableOf);
  std::vector<Scan> scans;
  scans.reserve(script.size());
  for (const JpegScan& s : script) scans.push_back(checker.next(s));
  checker.requireAll();
  return scans;
}

}  // namespace jpeg

}  // namespace zelcodecs
