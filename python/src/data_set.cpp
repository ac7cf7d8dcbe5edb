#include "data_set.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "console_text.h"
#include "data_set_text.h"
#include "dicom/dicom_dictionary.h"
#include "dicom/vr_container.h"
#include "errors.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"

namespace py = pybind11;
using namespace DicomEngine;

namespace ondrel::python {
namespace {

using Root = std::shared_ptr<const DicomData>;

std::uint32_t TagOf(const VR& vr) { return std::uint32_t{vr.Group()} << 16 | vr.Element(); }

// The dictionary's names (DICOM's keywords), for finding elements by name.
const std::unordered_map<std::string, std::uint32_t>& TagsByKeyword() {
  static const std::unordered_map<std::string, std::uint32_t> tags = [] {
    std::unordered_map<std::string, std::uint32_t> byName;
    for (const auto& [tag, entry] : DicomDictionary::Instance().StandardEntries()) byName.emplace(entry.Name, tag);
    return byName;
  }();
  return tags;
}

std::string KeywordOf(std::uint32_t tag) {
  const auto& entries = DicomDictionary::Instance().StandardEntries();
  const auto found = entries.find(tag);
  return found == entries.end() ? std::string() : found->second.Name;
}

// One element of a data set read by read(), which it keeps alive.
struct Element {
  Root root;
  const VR* vr;
};

// A data set, or the data set of an item of a sequence, kept alive with the whole.
struct DataSet {
  Root root;
  const VRContainer* container;

  // The elements a user means: those of the data set, not the item delimiters the engine keeps.
  std::vector<const VR*> Elements() const {
    std::vector<const VR*> elements;
    for (const auto& vr : container->Elements())
      if (vr != nullptr && vr->Group() != kItemGroup) elements.push_back(vr.get());
    return elements;
  }

  const VR* Find(std::uint32_t tag) const {
    return container->Find(static_cast<std::uint16_t>(tag >> 16), static_cast<std::uint16_t>(tag & 0xFFFF));
  }
};

// The tag a key names: an int (0x00100010), a (group, element) pair, or a keyword ("PatientName");
// nothing for a keyword the dictionary does not know. Throws TypeError for another kind of key.
std::optional<std::uint32_t> TagOfKey(py::handle key) {
  if (py::isinstance<py::str>(key)) {
    const auto& tags = TagsByKeyword();
    const auto found = tags.find(key.cast<std::string>());
    if (found == tags.end()) return std::nullopt;
    return found->second;
  }
  if (py::isinstance<py::int_>(key)) return key.cast<std::uint32_t>();
  if (py::isinstance<py::tuple>(key) && py::len(key) == 2) {
    const py::tuple pair = py::reinterpret_borrow<py::tuple>(key);
    return pair[0].cast<std::uint32_t>() << 16 | pair[1].cast<std::uint16_t>();
  }
  throw py::type_error("an element is found by its tag (an int or a (group, element) pair) or its keyword, not by " +
                       std::string(py::str(key.get_type().attr("__name__"))));
}

// One value of a text: the padding blanks gone (leading ones too where they are not part of it),
// numbers as numbers.
py::object TextValue(const std::string& code, std::string text) {
  const bool leadingBlanksPad = code == "DS" || code == "IS" || code == "DA" || code == "TM" || code == "DT" ||
                                code == "AS" || code == "CS" || code == "UI";
  while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.pop_back();
  if (leadingBlanksPad) text.erase(0, std::min(text.find_first_not_of(' '), text.size()));
  const py::str value(cli::NarrowToConsole(text));
  if (code != "IS" && code != "DS") return value;
  if (text.empty()) return py::none();
  // A malformed number stays the text it is, so that the rest of the data set still reads.
  try {
    return code == "IS" ? py::object(py::int_(value)) : py::object(py::float_(value));
  } catch (const py::error_already_set&) {
    return value;
  }
}

py::object TextValues(const std::string& code, const std::string& text) {
  if (code == "LT" || code == "ST") return TextValue(code, text);
  std::vector<py::object> values;
  for (std::size_t at = 0;;) {
    const std::size_t end = text.find('\\', at);
    values.push_back(TextValue(code, text.substr(at, end == std::string::npos ? std::string::npos : end - at)));
    if (end == std::string::npos) break;
    at = end + 1;
  }
  if (values.size() == 1) return values.front();
  return py::cast(values);
}

template <class T>
py::object NumbersOf(const std::vector<T>& numbers) {
  if (numbers.empty()) return py::none();
  if (numbers.size() == 1) return py::cast(numbers.front());
  return py::cast(numbers);
}

py::object ValueOf(const Root& root, const VR& vr) {
  if (const auto* sequence = dynamic_cast<const VRSequence*>(&vr)) {
    py::list items;
    for (const std::unique_ptr<VR>& item : sequence->Elements()) {
      if (const auto* fragment = dynamic_cast<const VRBinarySequenceItem*>(item.get()))
        items.append(py::bytes(reinterpret_cast<const char*>(fragment->Data()), fragment->LengthField()));
      else if (item->Element() == kItemElement)
        if (const auto* data = dynamic_cast<const VRContainer*>(item.get())) items.append(DataSet{root, data});
    }
    return items;
  }
  if (const auto* text = dynamic_cast<const VRString*>(&vr)) return TextValues(vr.Code(), text->Value());
  if (const auto* binary = dynamic_cast<const VRBinary*>(&vr)) {
    const std::uint8_t* bytes = binary->Data();
    return py::bytes(reinterpret_cast<const char*>(bytes), bytes == nullptr ? 0 : binary->LengthField());
  }
  if (const auto* numbers = dynamic_cast<const UnsignedShortVR*>(&vr)) return NumbersOf(numbers->Values());
  if (const auto* numbers = dynamic_cast<const SignedShortVR*>(&vr)) return NumbersOf(numbers->Values());
  if (const auto* numbers = dynamic_cast<const UnsignedIntegerVR*>(&vr)) return NumbersOf(numbers->Values());
  if (const auto* numbers = dynamic_cast<const IntegerVR*>(&vr)) return NumbersOf(numbers->Values());
  if (const auto* numbers = dynamic_cast<const DoubleVR*>(&vr)) return NumbersOf(numbers->Values());
  if (const auto* tags = dynamic_cast<const VRAttributeTag*>(&vr)) {
    std::vector<std::uint32_t> joined;
    for (const auto& [group, element] : tags->Tags()) joined.push_back(std::uint32_t{group} << 16 | element);
    return NumbersOf(joined);
  }
  return py::none();
}

// The value, with a failure to read a value left in its file (the pixel data) as ondrel.Error.
py::object ElementValue(const Element& element) {
  try {
    return ValueOf(element.root, *element.vr);
  } catch (const MyException& failure) {
    const std::string text = cli::ToConsole(ReportText(failure));
    throw CoreError{cli::TagText(element.vr->Group(), element.vr->Element()) + " can't be read: " +
                        cli::CoreMessage(text),
                    E_FAIL, text};
  }
}

std::string KeyText(py::handle key) { return py::repr(key).cast<std::string>(); }

DataSet Read(py::handle path) {
  const std::string file = PathText(path);
  RequireExisting(file);
  auto data = std::make_shared<DicomData>(false);
  {
    // The engine reads files on its own: the parse takes nothing of the core's but the dictionary,
    // which no one changes once loaded, so reads run beside each other and beside the core's calls.
    const py::gil_scoped_release released;
    cli::ParseFile(file, *data, false);
  }
  return DataSet{data, data.get()};
}

}  // namespace

void DefineDataSets(py::module_& module) {
  py::class_<Element>(module, "Element", "An element of a data set: its tag, VR, length and value.")
      .def_property_readonly("tag", [](const Element& e) { return TagOf(*e.vr); }, "The tag, (group << 16) | element.")
      .def_property_readonly("group", [](const Element& e) { return e.vr->Group(); })
      .def_property_readonly("element", [](const Element& e) { return e.vr->Element(); })
      .def_property_readonly("vr", [](const Element& e) { return e.vr->Code(); },
                             "The VR as the engine took it: from the file, or from the dictionary for implicit VR.")
      .def_property_readonly("length", [](const Element& e) { return e.vr->LengthField(); },
                             "The value length as the file gives it (0xFFFFFFFF when undefined).")
      .def_property_readonly("keyword", [](const Element& e) { return KeywordOf(TagOf(*e.vr)); },
                             "The dictionary's name of the tag; empty for a tag it does not list.")
      .def_property_readonly("value", &ElementValue, R"(The value, converted:
text as str (the padding blanks gone), IS as int and DS as float, several values (separated by
backslashes) as a list; UI as str; US, SS, UL, SL, FL and FD as numbers, several as a list, none
as None; AT as int tags; OB, OW, UN and other bytes as bytes; a sequence as a list of its items'
DataSets, encapsulated pixel data as a list of its fragments' bytes (the offset table first).
A number the text does not hold stays text.)")
      .def("__repr__", [](const Element& e) { return cli::NarrowToConsole(cli::ElementLine(*e.vr)); });

  py::class_<DataSet>(module, "DataSet", R"(A data set as the engine read it, or the data set of an item of a sequence.

ds[key] is the Element of a tag, given as an int (0x00100010), a (group, element) pair or a keyword
("PatientName"): KeyError when the data set has none. ds.PatientName and ds.get(key, default) give
the value. Iterating gives the elements in the order the file holds them, without the item
delimiters; str(ds) is the dump the engine prints, an element a line, delimiters included, as
`ondrel dump` prints it.)")
      .def("__getitem__",
           [](const DataSet& ds, py::handle key) {
             const std::optional<std::uint32_t> tag = TagOfKey(key);
             const VR* vr = tag ? ds.Find(*tag) : nullptr;
             if (vr == nullptr) throw py::key_error(KeyText(key));
             return Element{ds.root, vr};
           })
      .def("__contains__",
           [](const DataSet& ds, py::handle key) {
             const std::optional<std::uint32_t> tag = TagOfKey(key);
             return tag && ds.Find(*tag) != nullptr;
           })
      .def(
          "get",
          [](const DataSet& ds, py::handle key, py::object otherwise) {
            const std::optional<std::uint32_t> tag = TagOfKey(key);
            const VR* vr = tag ? ds.Find(*tag) : nullptr;
            return vr == nullptr ? otherwise : ElementValue(Element{ds.root, vr});
          },
          py::arg("key"), py::arg("default") = py::none(), "The value of an element, or `default` when there is none.")
      .def("__getattr__",
           [](const DataSet& ds, const std::string& keyword) {
             const auto& tags = TagsByKeyword();
             const auto found = tags.find(keyword);
             const VR* vr = found == tags.end() ? nullptr : ds.Find(found->second);
             if (vr == nullptr) throw py::attribute_error("the data set has no element " + keyword);
             return ElementValue(Element{ds.root, vr});
           })
      .def("__len__", [](const DataSet& ds) { return ds.Elements().size(); })
      .def("__iter__",
           [](const DataSet& ds) {
             py::list elements;
             for (const VR* vr : ds.Elements()) elements.append(Element{ds.root, vr});
             return py::iter(elements);
           })
      .def("__str__", [](const DataSet& ds) {
        std::ostringstream text;
        cli::PrintDataSet(*ds.container, text);
        return text.str();
      });

  module.def("read", &Read, py::arg("path"), R"(read(path) -> DataSet

Reads a DICOM file whole with the engine, as `ondrel dump` does. Raises FileNotFoundError when
nothing stands at `path`, and ondrel.Error when it can't be read: "PATH: not a DICOM file", or
"PATH: cannot be read past byte N, in element (gggg,eeee) from byte M: MESSAGE" where the parse
stopped. The pixel data stay in the file until their value is asked for.)");
}

}  // namespace ondrel::python
