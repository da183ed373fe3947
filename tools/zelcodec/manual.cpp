// The manual page. Its requests are those of groff_man(7).
#include "manual.h"

#include <algorithm>
#include <sstream>

#include "zelj.h"

namespace zelcodec {
namespace {

// Text as it is to be read: a backslash and a minus are special to the formatter, and so are a dot and an apostrophe at
// the beginning of a line.
std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    const bool begins = out.empty() || out.back() == '\n';
    if (c == '\\')
      out += "\\e";
    else if (c == '-')
      out += "\\-";
    else if (begins && (c == '.' || c == '\''))
      out += std::string("\\&") + c;
    else
      out += c;
  }
  return out;
}

std::string bold(const std::string& text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + escaped(text) + "\\fR"; }

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? char(c - 32) : c; });
  return text;
}

// What follows the name of an option: "N", "N (1 - 100)". Types come with the range of their values behind a colon.
std::string valueOf(const CLI::Option& o) {
  std::string type = o.get_type_name(), range;
  if (const size_t colon = type.find(':'); colon != std::string::npos) {
    range = type.substr(colon + 1);
    type.resize(colon);
    if (const size_t in = range.find("in ["); in != std::string::npos)
      range = range.substr(in + 4, range.size() - in - 5);
    if (range.rfind('{', 0) == 0) range = range.substr(1, range.size() - 2);
  }
  if (type == "INT" || type == "UINT" || type == "FLOAT") type = "N";
  if (type == "TEXT" || type == "ENUM") type = "WORD";
  if (range == "FILE") type.swap(range), range.clear();
  std::string out = o.get_expected_min() > 1 ? italic(type) + "," + italic(type) : italic(type);
  if (!range.empty()) out += " (" + escaped(range) + ")";
  return out;
}

void writeOption(std::ostream& out, const CLI::Option& o) {
  std::string names;
  for (const std::string& s : o.get_snames()) names += (names.empty() ? "" : ", ") + bold("-" + s);
  for (const std::string& l : o.get_lnames()) names += (names.empty() ? "" : ", ") + bold("--" + l);
  out << ".TP\n" << names << (o.get_items_expected_max() > 0 ? " " + valueOf(o) : "") << "\n";
  const std::string& text = o.get_description();
  out << escaped(text);
  if (!o.get_default_str().empty()) out << " (default " << escaped(o.get_default_str()) << ")";
  out << (text.empty() || text.back() != '.' ? ".\n" : "\n");
  const auto others = [&](const char* what, const std::set<CLI::Option*>& options) {
    for (const CLI::Option* other : options) out << what << " " << bold(other->get_name()) << ".\n";
  };
  others("Only with", o.get_needs());
  others("Not with", o.get_excludes());
}

// The options of an application or command by their groups; those without a group are hidden.
void writeOptions(std::ostream& out, const CLI::App& app, const char* request) {
  for (const std::string& group : app.get_groups()) {
    const std::vector<const CLI::Option*> options = app.get_options([&](const CLI::Option* o) {
      return o->get_group() == group && !o->get_positional() && !o->get_lnames().empty() &&
             o->get_lnames()[0] != "help";
    });
    if (group.empty() || options.empty()) continue;
    if (group != "Options") out << request << " " << group << "\n";
    for (const CLI::Option* o : options) writeOption(out, *o);
  }
}

std::string synopsis(const CLI::App& command) {
  std::string out = bold("zelcodec") + " " + bold(command.get_name()) + " [" + italic("options") + "]";
  for (const CLI::Option* o : command.get_options([](const CLI::Option* p) { return p->get_positional(); }))
    out += " " + italic(o->get_name()) + (o->get_expected_max() > 1 ? " ..." : "");
  return out;
}

std::string namesOf(const CLI::App& command) {
  std::string names;
  for (const CLI::Option* o : command.get_options()) names += o->get_name() + "\n";
  return names;
}

// A command with the options of the one before it refers to that.
void writeCommand(std::ostream& out, const CLI::App& command, const CLI::App* before) {
  out << ".SH " << upper(command.get_name()) << "\n"
      << synopsis(command) << "\n.PP\n"
      << escaped(command.get_description()) << ".\n";
  if (before && namesOf(*before) == namesOf(command)) {
    out << "The options are those of " << bold(before->get_name()) << ".\n";
    return;
  }
  for (const CLI::Option* o : command.get_options([](const CLI::Option* p) { return p->get_positional(); }))
    out << ".TP\n" << italic(o->get_name()) << "\n" << escaped(o->get_description()) << ".\n";
  writeOptions(out, command, ".SS");
}

// The lines of a footer that show a use of the program.
void writeExamples(std::ostream& out, const std::vector<const CLI::App*>& commands) {
  out << ".SH EXAMPLES\n";
  for (const CLI::App* command : commands) {
    std::istringstream footer(command->get_footer());
    for (std::string line; std::getline(footer, line);)
      if (line.rfind("  zelcodec", 0) == 0) out << ".PP\n.nf\n.RS\n" << escaped(line.substr(2)) << "\n.RE\n.fi\n";
  }
}

}  // namespace

std::string manual(const CLI::App& app, const ExitCodes& codes) {
  std::vector<const CLI::App*> commands = app.get_subcommands([](const CLI::App*) { return true; });
  const ZelLibraryVersion* const library = zeljGetLibVersion();
  std::ostringstream out;
  out << ".TH ZELCODEC 1 \"\" \"zelj " << library->major << "." << library->minor << "\" \"User Commands\"\n"
      << ".SH NAME\nzelcodec \\- "
      << "encode, decode and compare JPEG, JPEG 2000, TIFF, DDS, PNG and Netpbm pictures\n"
      << ".SH SYNOPSIS\n";
  for (const CLI::App* c : commands) out << synopsis(*c) << "\n.br\n";
  out << ".SH DESCRIPTION\n"
      << escaped(app.get_description()) << "\n"
      << "The format of an input is found by its content, that of an output by its name's ending.\n"
      << "Pictures go band by band from one file to the other wherever both formats allow it, with their colour "
         "profile,\n"
      << "EXIF and XMP data, resolution, comments and orientation.\n"
      << "An output takes the place of what stood there only when it is whole.\n"
      << "Options that only another format knows are errors.\n"
      << ".SH OPTIONS\nThese stand before or behind a command.\n"
      << ".TP\n"
      << bold("-h") << ", " << bold("--help") << "\nThe options of the program, or of a command.\n";
  writeOptions(out, app, ".SS");
  const CLI::App* before = nullptr;
  for (const CLI::App* c : commands) {
    writeCommand(out, *c, before);
    before = c;
  }
  writeExamples(out, commands);
  out << ".SH EXIT STATUS\n";
  for (const auto& [code, meaning] : codes) out << ".TP\n" << code << "\n" << escaped(meaning) << ".\n";
  out << ".SH SEE ALSO\n.BR cjpeg (1),\n.BR djpeg (1),\n.BR opj_compress (1),\n.BR tiffcp (1)\n";
  return out.str();
}

}  // namespace zelcodec
