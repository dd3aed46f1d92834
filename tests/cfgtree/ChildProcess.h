// Runs the program as a user's shell does.

#ifndef CFGTREE_TESTS_CHILDPROCESS_H
#define CFGTREE_TESTS_CHILDPROCESS_H

#include <string>
#include <string_view>
#include <vector>

struct RunResult {
  int code;  // the exit code; -1 when the program did not end by itself
  std::string out;
  std::string err;
};

// Runs the program with these arguments and `input` as its standard input.  Its output
// goes to files, so it is not a terminal.
RunResult RunProgram(const std::vector<std::string>& arguments, std::string_view input = "");

// A file for this test, with these bytes; deleted with the object.
class TempFile {
 public:
  TempFile(const std::string& name, std::string_view bytes);
  ~TempFile();
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
};

// All bytes of a file.
std::string ReadBytes(const std::string& path);

#if !defined(_WIN32)
// Runs a line of shell.
int RunShell(const std::string& line);
#endif

// `text` as one word of the shell's.
std::string ShellWord(const std::string& text);

#endif  // CFGTREE_TESTS_CHILDPROCESS_H
