#include "script_host.h"

#include <charconv>
#include <cstdio>
#include <memory>
#include <ostream>

#include "console_text.h"
#include "failure_text.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "foundation/uid.h"
#include "host_setup.h"
#include "object_report.h"
#include "output_file.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"
#include "ondrel/platform/hresult_exception.h"
#include "ondrel/study_builder.h"
#include "pixel_warnings.h"
#include "window_picture.h"

namespace ondrel::cli {
namespace {

using namespace Gdiplus;

using Word = ScriptWord;

constexpr std::string_view kScriptFolderWord = "$SCRIPT_DIR";
// uid:NAME stands for the SOP Instance UID of the image NAME.
constexpr std::string_view kUidWord = "uid:";

// The words of a line, with $SCRIPT_DIR in each replaced by the script's folder.
std::vector<Word> SplitLine(const std::string& line, const std::string& scriptFolder) {
  std::vector<Word> words;
  std::size_t i = 0;
  while (i < line.size()) {
    if (line[i] == ' ' || line[i] == '\t' || line[i] == '\r') {
      ++i;
      continue;
    }
    if (line[i] == '#') break;
    Word word;
    if (line[i] == '"') {
      word.quoted = true;
      ++i;
      while (i < line.size() && line[i] != '"') {
        if (line[i] == '\\' && i + 1 < line.size()) ++i;
        word.text += line[i++];
      }
      if (i == line.size()) throw ScriptError{"a quoted text is not closed"};
      ++i;
    } else {
      while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != '\r') word.text += line[i++];
    }
    for (std::size_t at = 0; (at = word.text.find(kScriptFolderWord, at)) != std::string::npos;) {
      word.text.replace(at, kScriptFolderWord.size(), scriptFolder);
      at += scriptFolder.size();
    }
    words.push_back(std::move(word));
  }
  return words;
}

long long Integer(const std::string& word) {
  long long value = 0;
  const bool hex = word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
  const char* first = word.data() + (hex ? 2 : 0);
  const char* last = word.data() + word.size();
  const auto [end, error] = std::from_chars(first, last, value, hex ? 16 : 10);
  if (error != std::errc() || end != last || first == last) throw ScriptError{"'" + word + "' is not an integer"};
  return value;
}

// A key given by its character code, 1 to 255 (a Windows-1252 byte).
int KeyCode(const std::string& word) {
  long long value = 0;
  try {
    value = Integer(word);
  } catch (const ScriptError&) {
    throw ScriptError{"a key is enter, backspace or a character code from 1 to 255, not '" + word + "'"};
  }
  if (value < 1 || value > 255)
    throw ScriptError{"a key is enter, backspace or a character code from 1 to 255, not '" + word + "'"};
  return static_cast<int>(value);
}

int Count(const std::string& word) {
  const long long value = Integer(word);
  if (value < 0 || value > 100000) throw ScriptError{"'" + word + "' is not a size"};
  return static_cast<int>(value);
}

// In double quotes, on one line: a quote or backslash stands with a backslash before it, a line end
// as \n.
std::string Quoted(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '\n') {
      out += "\\n";
      continue;
    }
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

// The media objects a DICOMDIR would give for these images: one patient, study and series holding an
// image object for each that knows only its file, UID and frame, and asks the core to fill the rest
// from the file when it loads it, as a media browser's objects do.
std::vector<platform::ComPtr<IDicomDirImage>> MediaImagesOf(const std::vector<platform::ComPtr<IImageInfoNW>>& images) {
  const auto patient = MakeObject<IDicomDirPatient>(CLSID_DicomDirPatient);
  const auto study = MakeObject<IDicomDirStudy>(CLSID_DicomDirStudy);
  const auto series = MakeObject<IDicomDirSeries>(CLSID_DicomDirSeries);
  platform::ThrowIfFailed(patient->AddStudyToPatient(study.Get()));
  platform::ThrowIfFailed(study->AddSeriesToStudy(series.Get()));
  std::vector<platform::ComPtr<IDicomDirImage>> media;
  for (const auto& image : images) {
    auto item = MakeObject<IDicomDirImage>(CLSID_DicomDirImage);
    platform::ThrowIfFailed(series->AddImageToSeries(item.Get()));
    platform::BStr uid;
    platform::BStr file;
    USHORT frame = 0;
    image->GetSopInstanceUid(uid.Out());
    image->GetFileName(file.Out());
    image->GetFrameIndex(&frame);
    item->SetSopInstanceUid(uid.Get());
    item->SetFileName(file.Get());
    item->SetFrameIndex(frame);
    item->SetNeedsDicomData(VARIANT_TRUE);
    media.push_back(item);
  }
  return media;
}

// The component of that class, made on first use as a host makes it.
template <class Interface>
Interface& Made(platform::ComPtr<Interface>& component, const CLSID& clsid) {
  if (!component) {
    const HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_ALL, Interface::kIid,
                                        reinterpret_cast<void**>(component.GetAddressOf()));
    if (FAILED(hr)) throw ScriptError{"the component can't be made: " + HResultText(hr) + " " + TakeErrorDescription()};
  }
  return *component.Get();
}

void RequireCount(const std::vector<Word>& words, std::size_t least, std::size_t most) {
  const std::size_t given = words.size() - 1;
  if (given < least || given > most)
    throw ScriptError{words[0].text + " takes " +
                      (least == most ? std::to_string(least) : std::to_string(least) + " to " + std::to_string(most)) +
                      " arguments, not " + std::to_string(given)};
}

}  // namespace

ScriptHost::ScriptHost(std::string scriptFolder) : scriptFolder_(std::move(scriptFolder)) {}

ScriptHost::~ScriptHost() {
  images_.clear();
  mediaImages_.clear();
  series_.clear();
  main_.Reset();
  media_.Reset();
  for (const auto& [name, window] : windows_) DestroyWindow(window);
}

void ScriptHost::RunLine(const std::string& line, std::ostream& out) {
  const std::vector<Word> words = SplitLine(line, scriptFolder_);
  if (words.empty()) return;
  const std::string& command = words[0].text;
  if (command == "window") {
    RequireCount(words, 3, 3);
    if (windows_.count(words[1].text) != 0) throw ScriptError{"there is a window " + words[1].text + " already"};
    const HWND window = platform::CreateHostWindow(Count(words[2].text), Count(words[3].text));
    if (window == nullptr) throw ScriptError{"the window can't be made"};
    windows_[words[1].text] = window;
  } else if (command == "resize") {
    RequireCount(words, 3, 3);
    platform::ResizeHostWindow(WindowNamed(words[1].text), Count(words[2].text), Count(words[3].text));
  } else if (command == "destroy") {
    RequireCount(words, 1, 1);
    DestroyWindow(WindowNamed(words[1].text));
    windows_.erase(words[1].text);
  } else if (command == "desktop") {
    RequireCount(words, 2, 2);
    platform::SetDesktopSize(Count(words[1].text), Count(words[2].text));
  } else if (command == "image") {
    RequireCount(words, 2, 3);
    const int frame = words.size() > 3 ? Count(words[3].text) : 0;
    if (frame > 0xFFFF) throw ScriptError{"a frame is a number from 0 to 65535, not " + words[3].text};
    BuildImage(words[1].text, words[2].text, static_cast<USHORT>(frame));
  } else if (command == "newimage") {
    RequireCount(words, 1, 2);
    BuildNewImage(words[1].text, words.size() > 2 ? words[2].text : std::string());
  } else if (command == "series") {
    if (words.size() < 3) throw ScriptError{"series takes a name and at least one file or folder"};
    std::vector<std::string> paths;
    for (std::size_t i = 2; i < words.size(); ++i) paths.push_back(words[i].text);
    BuildSeries(words[1].text, paths);
  } else if (command == "component") {
    RequireCount(words, 1, 1);
    if (words[1].text != "main" && words[1].text != "dicomdir")
      throw ScriptError{"component is main or dicomdir, not " + words[1].text};
    mediaChosen_ = words[1].text == "dicomdir";
  } else if (command == "call") {
    if (words.size() < 2) throw ScriptError{"call takes a method name"};
    Call(words, out);
  } else if (command == "save") {
    RequireCount(words, 2, 2);
    SaveWindow(words[1].text, words[2].text);
  } else if (command == "type") {
    RequireCount(words, 2, 2);
    const HWND window = WindowNamed(words[1].text);
    for (const char c : words[2].text)
      if (!platform::DeliverCharacterToFocus(window, c))
        throw ScriptError{"no edit window of " + words[1].text + " has the focus"};
  } else if (command == "key") {
    RequireCount(words, 2, 2);
    const HWND window = WindowNamed(words[1].text);
    const std::string& key = words[2].text;
    const char character = key == "enter" ? '\r' : key == "backspace" ? '\b' : static_cast<char>(KeyCode(key));
    if (!platform::DeliverCharacterToFocus(window, character))
      throw ScriptError{"no edit window of " + words[1].text + " has the focus"};
  } else if (command == "show") {
    RequireCount(words, 1, 1);
    Show(words[1].text, out);
  } else if (command == "pixels") {
    RequireCount(words, 2, 2);
    WritePixels(words[1].text, words[2].text, out);
  } else if (command == "expect") {
    const std::size_t at = line.find("expect") + 6;
    std::string expected = line.substr(at);
    Trim(expected);
    if (lastOutput_.find(expected) == std::string::npos) throw ExpectationFailed{expected};
  } else if (command == "echo") {
    std::string text = line.substr(line.find("echo") + 4);
    Trim(text);
    out << text << "\n";
    lastOutput_ = text;
  } else {
    throw ScriptError{"unknown command '" + command + "'"};
  }
}

ScriptHost::BoundMethod ScriptHost::Bind(const std::string& name) {
  if (const MeasurementsMethod* method = FindMeasurementsMethod(name)) {
    return {method->name, &method->kinds, [this, method](std::span<Value> values) {
              IUnknown& component = mediaChosen_ ? static_cast<IUnknown&>(MediaComponent())
                                                 : static_cast<IUnknown&>(MainComponent());
              return method->call(component, values);
            }};
  }
  if (mediaChosen_) {
    const MediaMethod* method = FindMediaMethod(name);
    if (method == nullptr)
      throw ScriptError{FindMethod(name) != nullptr ? "the media component has no method " + name
                                                    : "unknown method '" + name + "'"};
    return {method->name, &method->kinds,
            [this, method](std::span<Value> values) { return method->call(MediaComponent(), values); }};
  }
  const Method* method = FindMethod(name);
  if (method == nullptr) throw ScriptError{"unknown method '" + name + "'"};
  return {method->name, &method->kinds,
          [this, method](std::span<Value> values) { return method->call(MainComponent(), values); }};
}

void ScriptHost::Call(const std::vector<Word>& words, std::ostream& out) {
  const BoundMethod method = Bind(words[1].text);
  const std::vector<Kind>& kinds = *method.kinds;
  // A trailing "as NAME..." names the series the call returns, in order.
  std::size_t end = words.size();
  std::vector<std::string> seriesNames;
  for (std::size_t i = 2; i < words.size(); ++i) {
    if (words[i].text == "as" && !words[i].quoted) {
      end = i;
      for (std::size_t j = i + 1; j < words.size(); ++j) seriesNames.push_back(words[j].text);
      if (seriesNames.empty()) throw ScriptError{"as needs a name"};
      break;
    }
  }
  const std::size_t given = end - 2;
  if (given != kinds.size())
    throw ScriptError{std::string(method.name) + " takes " + std::to_string(kinds.size()) + " arguments, not " +
                      std::to_string(given)};
  std::vector<Value> values(given);
  for (std::size_t i = 0; i < given; ++i) ParseArgument(kinds[i], words[i + 2], values[i]);
  // A mouse event puts the pointer where it happens, as a screen does, for whoever reads it.
  if (given >= 2 && kinds[0] == Kind::Window && kinds[1] == Kind::Point)
    platform::MoveHostCursor(values[0].window, POINT{values[1].point.x, values[1].point.y});

  const HRESULT hr = method.call(values);
  const std::string description = FAILED(hr) ? TakeErrorDescription() : std::string();

  std::string line = std::string(method.name) + " -> " + HResultText(hr);
  std::size_t seriesIndex = 0;
  for (std::size_t i = 0; i < given; ++i) {
    const Kind kind = kinds[i];
    if (!IsOut(kind)) continue;
    Value& value = values[i];
    std::string shown;
    if (value.null) {
      shown = "null";
    } else if (kind == Kind::OutBool) {
      shown = std::to_string(value.outFlag);
    } else if (kind == Kind::OutLong) {
      shown = std::to_string(value.outLong);
    } else if (kind == Kind::OutULong) {
      shown = std::to_string(value.outULong);
    } else if (kind == Kind::OutSeries) {
      platform::ComPtr<ISeriesInfoNW> series;
      series.Attach(value.outSeries);
      if (!series) {
        shown = "null";
      } else if (seriesIndex < seriesNames.size()) {
        shown = seriesNames[seriesIndex];
        NameSeries(shown, series.Get());
      } else {
        shown = "<series>";
      }
      ++seriesIndex;
    } else if (kind == Kind::OutBitmap) {
      shown = value.outBitmap != nullptr ? "<bitmap>" : "null";
    } else if (kind == Kind::OutText) {
      const platform::BStr text = platform::BStr::Attach(value.outText);
      shown = text.IsNull() ? "null" : Quoted(ToConsole(text.ToString()));
    } else if (kind == Kind::OutBytes) {
      LONG upper = -1;
      if (value.outBytes != nullptr) SafeArrayGetUBound(value.outBytes, 1, &upper);
      shown = value.outBytes != nullptr ? "<" + std::to_string(upper + 1) + " bytes>" : "null";
      SafeArrayDestroy(value.outBytes);
    } else {
      shown = EnumName(kind, value.outEnum);
    }
    line += " out=" + shown;
  }
  if (FAILED(hr)) line += " error=" + Quoted(description);
  out << line << "\n";
  lastOutput_ = line;
}

void ScriptHost::ParseArgument(Kind kind, const Word& word, Value& value) const {
  if (word.text == "null" && !word.quoted) {
    value.null = true;
    return;
  }
  if (IsOut(kind)) {
    if (word.text != "?" || word.quoted)
      throw ScriptError{"an out-parameter is given as ? or null, not '" + word.text + "'"};
    return;
  }
  switch (kind) {
    case Kind::Window:
      value.window = WindowNamed(word.text);
      return;
    case Kind::Image: {
      const auto found = images_.find(word.text);
      if (found == images_.end()) throw ScriptError{"no image named " + word.text};
      value.image = found->second.Get();
      return;
    }
    case Kind::MediaImage: {
      const auto found = mediaImages_.find(word.text);
      if (found == mediaImages_.end()) throw ScriptError{"no media image named " + word.text};
      value.mediaImage = found->second.Get();
      return;
    }
    case Kind::Long:
    case Kind::ULong:
    case Kind::Short:
      value.number = static_cast<LONG>(Integer(word.text));
      return;
    case Kind::Double: {
      const auto [end, error] = std::from_chars(word.text.data(), word.text.data() + word.text.size(), value.real);
      if (error != std::errc() || end != word.text.data() + word.text.size())
        throw ScriptError{"'" + word.text + "' is not a number"};
      return;
    }
    case Kind::Text:
      if (!word.quoted && word.text.starts_with(kUidWord)) {
        value.text = SopInstanceUidOf(word.text.substr(kUidWord.size()));
        return;
      }
      if (!word.quoted)
        throw ScriptError{"a text is given in double quotes, as uid:IMAGE or as null: '" + word.text + "'"};
      value.text = platform::BStr(ToWide(word.text));
      return;
    case Kind::Bool:
      value.flag = word.text == "true"    ? VARIANT_TRUE
                   : word.text == "false" ? VARIANT_FALSE
                                          : static_cast<VARIANT_BOOL>(Integer(word.text));
      return;
    case Kind::Point: {
      const std::size_t comma = word.text.find(',');
      if (comma == std::string::npos) throw ScriptError{"a point is X,Y, not '" + word.text + "'"};
      value.point.x = static_cast<LONG>(Integer(word.text.substr(0, comma)));
      value.point.y = static_cast<LONG>(Integer(word.text.substr(comma + 1)));
      return;
    }
    default: {
      if (const std::optional<USHORT> named = EnumValue(kind, word.text)) {
        value.enumeration = *named;
        return;
      }
      try {
        value.enumeration = static_cast<USHORT>(Integer(word.text));
      } catch (const ScriptError&) {
        throw ScriptError{"'" + word.text + "' is none of " + EnumChoices(kind) + ", nor a number"};
      }
      return;
    }
  }
}

platform::BStr ScriptHost::SopInstanceUidOf(const std::string& name) const {
  const auto found = images_.find(name);
  if (found == images_.end()) throw ScriptError{"no image named " + name};
  platform::BStr uid;
  found->second->GetSopInstanceUid(uid.Out());
  return uid;
}

HWND ScriptHost::WindowNamed(const std::string& name) const {
  const auto found = windows_.find(name);
  if (found == windows_.end()) throw ScriptError{"no window named " + name};
  return found->second;
}

IOndrel& ScriptHost::MainComponent() { return Made(main_, CLSID_OndrelImpl); }

IOndrelDicomDir& ScriptHost::MediaComponent() { return Made(media_, CLSID_OndrelDicomDirImpl); }

void ScriptHost::BuildImage(const std::string& name, const std::string& file, USHORT frame) {
  const FileImage built = ImageOfFile(file, frame);
  if (!built.image)
    throw ScriptError{NoSuchFrame(file, built, "image takes a frame from", frame)};
  Warn(*built.image.Get(), file);
  images_[name] = built.image;
  mediaImages_[name] = MediaImagesOf({built.image}).front();
}

// The pixel warnings of a file, once a script.
void ScriptHost::Warn(IImageInfoNW& image, const std::string& file) {
  if (warned_.insert(file).second) WarnAboutPixels(image, file);
}

// The object a consult image or an imported picture is written to, with `file` as its FileName, or
// with none for the workstation's storage.
void ScriptHost::BuildNewImage(const std::string& name, const std::string& file) {
  images_[name] = NewSecondaryCaptureImage(file);
  mediaImages_.erase(name);
}

void ScriptHost::BuildSeries(const std::string& name, const std::vector<std::string>& paths) {
  const StudyGraph graph = BuildStudies(paths);
  if (graph.series.empty()) {
    if (graph.skipped.empty()) throw Failure{"no image in the files given", {}};
    throw FileFailure(graph.skipped.front().path, NarrowToConsole(graph.skipped.front().reason));
  }
  NameSeries(name, graph.series.front().Get());
  const auto images = SeriesImages(graph.series.front().Get());
  for (const auto& image : images) {
    platform::BStr file;
    image->GetFileName(file.Out());
    Warn(*image.Get(), ToNarrow(file.View()));
  }
  const auto media = MediaImagesOf(images);
  for (std::size_t i = 0; i < media.size(); ++i) mediaImages_[name + "[" + std::to_string(i) + "]"] = media[i];
}

void ScriptHost::NameSeries(const std::string& name, ISeriesInfoNW* series) {
  series_[name] = series;
  const auto images = SeriesImages(series);
  for (std::size_t i = 0; i < images.size(); ++i) {
    const std::string imageName = name + "[" + std::to_string(i) + "]";
    images_[imageName] = images[i];
    mediaImages_.erase(imageName);  // a series a method returns has no media objects
  }
}

void ScriptHost::Show(const std::string& name, std::ostream& out) {
  std::string report;
  if (const auto series = series_.find(name); series != series_.end()) {
    report = SeriesReport(series->second.Get());
  } else if (const auto image = images_.find(name); image != images_.end()) {
    report = ImageReport(image->second.Get());
  } else {
    throw ScriptError{"no series or image named " + name};
  }
  out << report;
  lastOutput_ = report;
}

void ScriptHost::WritePixels(const std::string& name, const std::string& file, std::ostream& out) {
  const auto image = images_.find(name);
  if (image == images_.end()) throw ScriptError{"no image named " + name};
  std::vector<std::uint8_t> pixels;
  try {
    pixels = CorePixels(image->second.Get());
  } catch (const MyException& failure) {
    const std::string text = ToConsole(ReportText(failure));
    throw Failure{name + ": the pixels can't be made: " + CoreMessage(text), text};
  }
  WriteOutputFile(file, pixels.data(), pixels.size());
  lastOutput_ = "pixels " + name + " bytes=" + std::to_string(pixels.size());
  out << lastOutput_ << "\n";
}

void ScriptHost::SaveWindow(const std::string& name, const std::string& file) {
  const HWND window = WindowNamed(name);
  if (PictureMimeType(file).empty())
    throw ScriptError{"'" + file + "': the picture format is chosen by the extension " +
                      std::string(kPictureExtensions)};
  WriteWindowPicture(window, file);
}

}  // namespace ondrel::cli
