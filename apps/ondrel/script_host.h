// The script host of `ondrel run`: a line-by-line language that drives the component exactly as a
// workstation does (see kRunHelp in run_command.h for the language).
#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "ondrel/ondrel.h"
#include "ondrel/platform/com.h"
#include "script_methods.h"

namespace ondrel::cli {

// A script that can't go on: unknown command or method, wrong argument count, unknown name.
struct ScriptError {
  std::string message;
};

// A word of a script line; a quoted word is text whatever it holds ("null" included).
struct ScriptWord {
  std::string text;
  bool quoted = false;
};

// A failed `expect`.
struct ExpectationFailed {
  std::string expected;
};

// Drives the component from script lines. GDI+ must be started (a GdiplusSession) for as long as the
// host lives: the component draws through it and `save` writes pictures with it.
class ScriptHost {
 public:
  // `scriptFolder` is what $SCRIPT_DIR stands for in the script's words.
  explicit ScriptHost(std::string scriptFolder);
  ~ScriptHost();
  ScriptHost(const ScriptHost&) = delete;
  ScriptHost& operator=(const ScriptHost&) = delete;

  // Runs one line (comments and blank lines do nothing), printing to `out`. Throws ScriptError,
  // ExpectationFailed, or Failure when the core fails outside a call (a file of `image` or `series`
  // that gives no image, a `save` that can't be written); a failing method is printed, not thrown.
  void RunLine(const std::string& line, std::ostream& out);
  // The output line of the last command that printed one.
  const std::string& LastOutput() const { return lastOutput_; }

 private:
  // A method of the chosen component, bound to it: its kinds of parameters and a call with values.
  struct BoundMethod {
    std::string_view name;
    const std::vector<Kind>* kinds = nullptr;
    std::function<HRESULT(std::span<Value>)> call;
  };

  void Call(const std::vector<ScriptWord>& words, std::ostream& out);
  BoundMethod Bind(const std::string& name);
  void ParseArgument(Kind kind, const ScriptWord& word, Value& value) const;
  void BuildImage(const std::string& name, const std::string& file, USHORT frame);
  void Warn(IImageInfoNW& image, const std::string& file);
  void BuildNewImage(const std::string& name, const std::string& file);
  void BuildSeries(const std::string& name, const std::vector<std::string>& paths);
  void NameSeries(const std::string& name, ISeriesInfoNW* series);
  void SaveWindow(const std::string& name, const std::string& file);
  void Show(const std::string& name, std::ostream& out);
  void WritePixels(const std::string& name, const std::string& file, std::ostream& out);
  HWND WindowNamed(const std::string& name) const;
  platform::BStr SopInstanceUidOf(const std::string& name) const;
  IOndrel& MainComponent();
  IOndrelDicomDir& MediaComponent();

  std::map<std::string, HWND> windows_;
  std::map<std::string, platform::ComPtr<IImageInfoNW>> images_;
  // The media objects of the images built from files, under the same names.
  std::map<std::string, platform::ComPtr<IDicomDirImage>> mediaImages_;
  std::map<std::string, platform::ComPtr<ISeriesInfoNW>> series_;
  platform::ComPtr<IOndrel> main_;
  platform::ComPtr<IOndrelDicomDir> media_;
  bool mediaChosen_ = false;
  std::string lastOutput_;
  std::string scriptFolder_;
  std::set<std::string> warned_;  // files whose pixel warnings were printed
};

}  // namespace ondrel::cli
