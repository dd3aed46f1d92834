#include "support/real_files.h"

#include <rapidjson/document.h>
#include <rapidjson/istreamwrapper.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <pugixml.hpp>
#include <set>
#include <string>
#include <string_view>

#include "support/measure.h"

namespace bench {

namespace {

// A name that every peer can use; see cases.h.
std::string NameOf(std::string_view text) {
  std::string name;
  for (const char c : text) {
    const bool fits = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-';
    name += fits ? c : '-';
  }
  if (name.empty() || std::isalpha(static_cast<unsigned char>(name[0])) == 0) name.insert(0, "n");
  return name;
}

// Values on one line, without blanks at the ends.
std::string ValueOf(std::string_view text) {
  std::string value(text);
  for (char& c : value) {
    if (static_cast<unsigned char>(c) < ' ') c = ' ';
  }
  const std::size_t first = value.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return value.substr(first, value.find_last_not_of(' ') - first + 1);
}

void Add(std::vector<Entry>& entries, std::string path, std::string_view text) {
  std::string value = ValueOf(text);
  if (!value.empty()) entries.push_back({std::move(path), std::move(value)});
}

void AddJson(std::vector<Entry>& entries, const std::string& path, const rapidjson::Value& value) {
  if (value.IsObject()) {
    for (const auto& member : value.GetObject()) {
      AddJson(entries, path + '\\' + NameOf(member.name.GetString()), member.value);
    }
  } else if (value.IsArray()) {
    for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
      AddJson(entries, path + "\\n" + std::to_string(i), value[i]);
    }
  } else if (value.IsString()) {
    Add(entries, path, {value.GetString(), value.GetStringLength()});
  }
}

void AddXml(std::vector<Entry>& entries, const std::string& path, pugi::xml_node node) {
  std::set<std::string> used;
  for (const pugi::xml_attribute attribute : node.attributes()) {
    const std::string name = NameOf(attribute.name());
    used.insert(name);
    Add(entries, path + '\\' + name, attribute.value());
  }
  std::map<std::string, int> seen;
  for (const pugi::xml_node child : node.children()) {
    if (child.type() == pugi::node_pcdata) {
      if (used.insert("text").second) Add(entries, path + "\\text", child.value());
    } else if (child.type() == pugi::node_element) {
      const std::string name = NameOf(child.name());
      AddXml(entries, path + '\\' + name + "-" + std::to_string(seen[name]++), child);
    }
  }
}

}  // namespace

std::vector<Entry> RealEntries() {
  std::vector<Entry> entries;
  const std::filesystem::path codes = "/usr/share/iso-codes/json";
  std::set<std::filesystem::path> files;
  if (std::filesystem::exists(codes)) {
    for (const auto& file : std::filesystem::directory_iterator(codes)) {
      if (file.path().filename().string().rfind("iso_", 0) == 0) files.insert(file.path());
    }
  }
  for (const std::filesystem::path& path : files) {
    std::ifstream file(path);
    rapidjson::IStreamWrapper stream(file);
    rapidjson::Document document;
    document.ParseStream(stream);
    Require(!document.HasParseError(), "a file of iso-codes can't be read");
    AddJson(entries, NameOf(path.stem().string()), document);
  }
  pugi::xml_document mime;
  if (mime.load_file("/usr/share/mime/packages/freedesktop.org.xml")) {
    AddXml(entries, "mime", mime.document_element());
  }
  return entries;
}

}  // namespace bench
