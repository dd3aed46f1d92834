// What is fuzzed.
//
// A target takes the bytes of an input and returns when all is well.  It throws, or is
// stopped by an assertion or a sanitizer, when it has found a bug; the fuzzer keeps the
// input then, and in the tests the input's file fails.  Refusals that belong to the
// interface (a reader's Error) are no bugs.
//
// Each target is linked with libFuzzer into a program of its own (fuzz_main.cpp), and all
// of them into one test that runs them over the committed corpus (corpus_test.cpp).
//
// A target does the same for the same bytes, whatever ran before in the process, so that
// one input repeats a crash.  Only interned strings stay from one input to the next.

#ifndef TREE_TESTS_FUZZ_TARGETS_H
#define TREE_TESTS_FUZZ_TARGETS_H

#include <stdexcept>
#include <string>
#include <string_view>

namespace fuzz {

// Something that must not be.
class Bug : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline void Require(bool holds, const std::string& what) {
  if (!holds) throw Bug(what);
}

using Target = void (*)(std::string_view bytes);

// The client's readers: a file in memory.  See readers.cpp.
void ReaderIni(std::string_view bytes);
void ReaderJson(std::string_view bytes);
void ReaderReg(std::string_view bytes);
void ReaderTree(std::string_view bytes);
void ReaderXml(std::string_view bytes);

// Flat string arrays: see dynamic_string_arr.cpp.
void DynamicStringArr(std::string_view bytes);

// Paths, and what is at them in a tree: see tree_path.cpp.
void TreePath(std::string_view bytes);

// Operations on a forest, compared with a naive model: see operations.cpp.  The library
// compares names by other means once any name of the process has had a zero byte inside,
// so that both ways get a program of their own.
void Operations(std::string_view bytes);
void OperationsZeroNames(std::string_view bytes);

}  // namespace fuzz

#endif  // TREE_TESTS_FUZZ_TARGETS_H
