// CxF3 (ISO 17972-1) import and export of spectral save sets, through pugixml.
#include "files/Cxf.h"

#include <pugixml.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "files/Interchange.h"
#include "workspace/Error.h"
#include "workspace/WriteFile.h"

namespace tintara {

namespace {

constexpr const char* kCoreNamespace = "http://colorexchangeformat.com/CxF3-core";
constexpr const char* kOurNamespace = "urn:tintara-profiler:save-set";
// CxF3's element for a measurement condition, and the collection of them.
constexpr const char* kCondition = "ColorSpecification";
constexpr const char* kConditions = "ColorSpecificationCollection";
constexpr const char* kIndent = "  ";
constexpr const char* kObjectsMarker = "tintara:objects";

// An element's name without its namespace prefix ("cc:Object" -> "Object").
std::string_view LocalName(const pugi::xml_node& node) {
    const std::string_view name = node.name();
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

// Every element under `node` (at any depth) of that local name, in document order.
std::vector<pugi::xml_node> Descendants(const pugi::xml_node& node, std::string_view local) {
    std::vector<pugi::xml_node> found;
    struct Walker : pugi::xml_tree_walker {
        std::string_view name;
        std::vector<pugi::xml_node>* out;
        bool for_each(pugi::xml_node& n) override {
            if (n.type() == pugi::node_element && LocalName(n) == name)
                out->push_back(n);
            return true;
        }
    } walker;
    walker.name = local;
    walker.out = &found;
    const_cast<pugi::xml_node&>(node).traverse(walker);
    return found;
}

bool ParseDouble(std::string_view text, double& v) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
        text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.remove_suffix(1);
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    return !text.empty() && ec == std::errc() && end == text.data() + text.size() &&
           std::isfinite(v);
}

// The 1-based line of a byte offset, for messages.
int LineOf(const std::string& text, std::ptrdiff_t offset) {
    const auto end = text.begin() + std::clamp<std::ptrdiff_t>(offset, 0, text.size());
    return 1 + static_cast<int>(std::count(text.begin(), end, '\n'));
}

enum class Geometry { Unknown, SpecularIncluded, SpecularExcluded };

// One measurement condition of the file.
struct Condition {
    std::string id;
    bool hasStart = false;
    double startNm = 0;
    double incrementNm = 10;
    Geometry geometry = Geometry::Unknown;
    std::vector<std::size_t> spectra;  // index into Spectrum list
};

struct Spectrum {
    std::size_t object;  // index of its object
    std::vector<double> nm;
    std::vector<std::string> values;  // as written (0..1)
};

Geometry GeometryOf(const pugi::xml_node& element) {
    for (const char* name : {"SphereGeometryConfiguration", "SpecularComponent"}) {
        for (const pugi::xml_node& n : Descendants(element, name)) {
            const std::string_view text = n.child_value();
            if (text.find("Excluded") != std::string_view::npos ||
                text.find("excluded") != std::string_view::npos)
                return Geometry::SpecularExcluded;
            if (text.find("Included") != std::string_view::npos ||
                text.find("included") != std::string_view::npos)
                return Geometry::SpecularIncluded;
        }
    }
    return Geometry::Unknown;
}

std::string Clean(const std::string& text) {
    std::string out = text;
    for (char& c : out) {
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t')
            c = ' ';
    }
    return out;
}

}  // namespace

SaveSetData ImportCxf(std::istream& in, const std::string& sourceName, const ImportOptions& options,
                      ImportReport* reportOut) {
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (in.bad())
        throw IoError(sourceName + ": the file could not be read");
    pugi::xml_document doc;
    const pugi::xml_parse_result parsed =
        doc.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_auto);
    if (!parsed) {
        throw ParseError(sourceName, LineOf(text, parsed.offset),
                         "the file is not readable XML: it is damaged or cut short here");
    }
    const pugi::xml_node root = doc.document_element();
    if (LocalName(root) != "CxF") {
        throw ParseError(sourceName, 0,
                         "this XML file is not a CxF3 colour file (it starts with <" +
                             std::string(root.name()) + "> where CxF3 has <CxF>)");
    }

    ImportReport report;
    report.Format = "CxF3";
    std::vector<Condition> conditions;
    std::map<std::string, std::size_t> conditionOf;
    for (const pugi::xml_node& element : Descendants(root, kCondition)) {
        Condition c;
        c.id = element.attribute("Id").value();
        const std::vector<pugi::xml_node> ranges = Descendants(element, "WavelengthRange");
        if (!ranges.empty()) {
            const pugi::xml_node& range = ranges.front();
            double v = 0;
            if (ParseDouble(range.attribute("StartWL").value(), v)) {
                c.hasStart = true;
                c.startNm = v;
            }
            if (ParseDouble(range.attribute("Increment").value(), v) && v > 0)
                c.incrementNm = v;
        }
        c.geometry = GeometryOf(element);
        conditionOf.emplace(c.id, conditions.size());
        conditions.push_back(std::move(c));
    }

    std::vector<std::string> objectNames;
    std::vector<Spectrum> spectra;
    const std::vector<pugi::xml_node> objects = Descendants(root, "Object");
    int skipped = 0;
    for (const pugi::xml_node& object : objects) {
        const std::size_t index = objectNames.size();
        std::string name = object.attribute("Name").value();
        if (name.empty())
            name = object.attribute("Id").value();
        if (name.empty())
            name = "Object " + std::to_string(index + 1);
        bool any = false;
        for (const pugi::xml_node& rs : Descendants(object, "ReflectanceSpectrum")) {
            const std::string conditionName = rs.attribute(kCondition).value();
            auto found = conditionOf.find(conditionName);
            if (found == conditionOf.end()) {
                // A spectrum that names no known condition forms one of its own.
                Condition c;
                c.id = conditionName;
                found = conditionOf.emplace(conditionName, conditions.size()).first;
                conditions.push_back(std::move(c));
            }
            Condition& condition = conditions[found->second];
            Spectrum s;
            s.object = index;
            std::istringstream values(rs.child_value());
            std::string word;
            while (values >> word) {
                double v = 0;
                if (!ParseDecimal(word, 0, v)) {
                    throw ParseError(sourceName, LineOf(text, rs.offset_debug()),
                                     "the reflectance spectrum of \"" + name + "\" holds \"" +
                                         word.substr(0, 40) + "\", which is not a number");
                }
                s.values.push_back(word);
            }
            if (s.values.size() < 2) {
                throw ParseError(
                    sourceName, LineOf(text, rs.offset_debug()),
                    "the reflectance spectrum of \"" + name + "\" holds fewer than two values");
            }
            double start = condition.startNm;
            bool hasStart = condition.hasStart;
            double v = 0;
            if (ParseDouble(rs.attribute("StartWL").value(), v)) {
                start = v;
                hasStart = true;
            }
            if (!hasStart) {
                throw ParseError(sourceName, LineOf(text, rs.offset_debug()),
                                 "the reflectance spectrum of \"" + name +
                                     "\" does not say at which wavelength it starts (StartWL)");
            }
            for (std::size_t k = 0; k < s.values.size(); ++k)
                s.nm.push_back(start + condition.incrementNm * static_cast<double>(k));
            if (s.nm.back() - s.nm.front() > 0 && condition.incrementNm > 20 + 1e-6) {
                throw ParseError(sourceName, LineOf(text, rs.offset_debug()),
                                 "the spectrum of \"" + name + "\" is measured every " +
                                     std::to_string(condition.incrementNm) +
                                     " nm; colour work needs 20 nm or closer");
            }
            condition.spectra.push_back(spectra.size());
            spectra.push_back(std::move(s));
            any = true;
        }
        if (!any)
            ++skipped;
        objectNames.push_back(std::move(name));
    }
    if (spectra.empty()) {
        throw ParseError(sourceName, 0,
                         objects.empty()
                             ? "the CxF file holds no objects (no measured samples)"
                             : "the CxF file holds no reflectance spectra (its " +
                                   std::to_string(objects.size()) +
                                   " objects carry colour values only); Tintara needs spectra");
    }
    if (skipped > 0) {
        report.Notes.push_back(skipped == 1
                                   ? std::string("1 object without a reflectance spectrum was "
                                                 "skipped")
                                   : std::to_string(skipped) +
                                         " objects without a reflectance spectrum were skipped");
    }

    // Which conditions become angle positions 0 and 1.
    std::vector<std::size_t> used;
    for (std::size_t c = 0; c < conditions.size(); ++c) {
        if (!conditions[c].spectra.empty())
            used.push_back(c);
    }
    std::size_t first = used.front();
    std::size_t second = conditions.size();
    if (used.size() == 2) {
        const Geometry g0 = conditions[used[0]].geometry, g1 = conditions[used[1]].geometry;
        if (g0 == Geometry::SpecularIncluded && g1 == Geometry::SpecularExcluded) {
            second = used[1];
        } else if (g0 == Geometry::SpecularExcluded && g1 == Geometry::SpecularIncluded) {
            first = used[1];
            second = used[0];
        }
    }
    // Both geometries only when every object measured in one was measured in the other.
    std::vector<int> ofObject0(objectNames.size(), -1), ofObject1(objectNames.size(), -1);
    for (const std::size_t s : conditions[first].spectra)
        ofObject0[spectra[s].object] = static_cast<int>(s);
    if (second < conditions.size()) {
        for (const std::size_t s : conditions[second].spectra)
            ofObject1[spectra[s].object] = static_cast<int>(s);
        for (std::size_t o = 0; o < objectNames.size(); ++o) {
            if ((ofObject0[o] < 0) != (ofObject1[o] < 0)) {
                report.Notes.push_back("\"" + objectNames[o] +
                                       "\" was measured in one geometry only; only the first "
                                       "geometry (" +
                                       conditions[first].id + ") was imported");
                second = conditions.size();
                break;
            }
        }
    }
    for (const std::size_t c : used) {
        if (c != first && c != second) {
            report.Notes.push_back("the spectra of measurement condition \"" + conditions[c].id +
                                   "\" were not imported");
        }
    }

    // 0..1 factors to percent by moving the decimal point, then to 360..750 nm by 10 nm.
    int exponent10 = 2;
    std::string why = "CxF reflectance spectra hold 0-1 factors";
    if (options.Scale == ReflectanceScale::Percent) {
        exponent10 = 0;
        why = "as requested";
    } else if (options.Scale == ReflectanceScale::Fraction) {
        why = "as requested";
    }
    auto curveOf = [&](const Spectrum& s) {
        std::vector<double> scaled(s.values.size());
        for (std::size_t k = 0; k < s.values.size(); ++k)
            ParseDecimal(s.values[k], exponent10, scaled[k]);
        return ResampleCurve(s.nm, scaled);
    };

    SaveSetData data;
    data.NumAngles = second < conditions.size() ? 2 : 1;
    std::string company, status = "XXXXXX";
    int16_t instrument = 0;
    for (const pugi::xml_node& ours : Descendants(root, "TintaraSaveSet")) {
        company = ours.attribute("Company").value();
        status = ours.attribute("Status").value();
        instrument = static_cast<int16_t>(ours.attribute("Instrument").as_int());
        break;
    }
    data.Company = options.Company.value_or(company);
    data.Status = options.Status.value_or(status);
    data.Instrument = options.Instrument.value_or(instrument);
    const Spectrum* example = nullptr;
    for (std::size_t o = 0; o < objectNames.size(); ++o) {
        if (ofObject0[o] < 0)
            continue;
        SaveSetRecord rec;
        rec.Name = objectNames[o];
        rec.Status = data.Status;
        rec.Instrument = data.Instrument;
        const Spectrum& s0 = spectra[ofObject0[o]];
        example = example ? example : &s0;
        rec.Curves[0] = curveOf(s0);
        if (data.NumAngles == 2)
            rec.Curves[1] = curveOf(spectra[ofObject1[o]]);
        data.Records.push_back(std::move(rec));
    }

    report.SheetType = "";
    report.Records = static_cast<int>(data.Records.size());
    report.Angles = data.NumAngles;
    report.Layout = "one ReflectanceSpectrum per object and measurement condition";
    report.WavelengthSource = "StartWL and the WavelengthRange increment";
    report.NameField = "Name";
    report.FirstNm = example->nm.front();
    report.LastNm = example->nm.back();
    report.StepNm = conditions[first].incrementNm;
    report.Factor = exponent10 == 2 ? 100.0 : 1.0;
    report.Percent = exponent10 == 0;
    report.ScaleReason = why;
    report.Resampled = !(example->nm.size() == kPointCount && example->nm.front() == 360.0 &&
                         report.StepNm == 10.0);
    report.Interpolation = DescribeResampling(example->nm);
    report.ExtendedBelow = report.FirstNm > 360.0;
    report.ExtendedAbove = report.LastNm < 750.0;
    if (reportOut)
        *reportOut = std::move(report);
    return data;
}

SaveSetData ImportCxf(const std::filesystem::path& file, const ImportOptions& options,
                      ImportReport* report) {
    std::ifstream in = OpenMeasurementFile(file);
    return ImportCxf(in, file.string(), options, report);
}

void ExportCxf(const SaveSetData& data, int64_t recordCount, const SaveSetWalk& walk,
               std::ostream& out, const ExportOptions& options) {
    pugi::xml_document doc;
    pugi::xml_node decl = doc.append_child(pugi::node_declaration);
    decl.append_attribute("version") = "1.0";
    decl.append_attribute("encoding") = "UTF-8";
    pugi::xml_node cxf = doc.append_child("cc:CxF");
    cxf.append_attribute("xmlns:cc") = kCoreNamespace;
    pugi::xml_node info = cxf.append_child("cc:FileInformation");
    info.append_child("cc:Creator").text() = Clean(options.Originator).c_str();
    if (!options.Created.empty())
        info.append_child("cc:CreationDate").text() = options.Created.c_str();
    info.append_child("cc:Description").text() = "Spectral reflectance, 360-750 nm by 10 nm";

    const int angles = std::clamp<int>(data.NumAngles, 1, kMaxAngles);
    const char geometry = data.Status.size() >= 3 ? data.Status[2] : 'X';
    auto conditionId = [&](int angle) {
        if (angles == 2 || geometry == 'B')
            return angle == 0 ? std::string("SCI") : std::string("SCE");
        return geometry == 'E'   ? std::string("SCE")
               : geometry == 'I' ? std::string("SCI")
                                 : std::string("Reflectance");
    };

    pugi::xml_node resources = cxf.append_child("cc:Resources");
    pugi::xml_node collection = resources.append_child("cc:ObjectCollection");
    // The objects are written one by one where this marker stands in the document's text, so the
    // document never holds more than one of them.
    if (recordCount > 0)
        collection.append_child(pugi::node_comment).set_value(kObjectsMarker);
    pugi::xml_node conditions = resources.append_child((std::string("cc:") + kConditions).c_str());
    for (int a = 0; a < angles; ++a) {
        pugi::xml_node condition =
            conditions.append_child((std::string("cc:") + kCondition).c_str());
        condition.append_attribute("Id") = conditionId(a).c_str();
        pugi::xml_node tristimulus = condition.append_child("cc:TristimulusSpec");
        tristimulus.append_child("cc:Illuminant").text() = "D65";
        tristimulus.append_child("cc:Observer").text() = "10_Degree";
        tristimulus.append_child("cc:Method").text() = "E308";
        pugi::xml_node measurement = condition.append_child("cc:MeasurementSpec");
        measurement.append_child("cc:MeasurementType").text() = "Spectrum_Reflectance";
        const std::string id = conditionId(a);
        if (id != "Reflectance") {
            measurement.append_child("cc:GeometryChoice")
                .append_child("cc:SphereGeometry")
                .append_child("cc:SphereGeometryConfiguration")
                .text() = id == "SCI" ? "Specular_Included" : "Specular_Excluded";
        }
        pugi::xml_node range = measurement.append_child("cc:WavelengthRange");
        range.append_attribute("StartWL") = "360";
        range.append_attribute("Increment") = "10";
    }
    pugi::xml_node ours =
        resources.append_child("cc:CustomResources").append_child("tintara:TintaraSaveSet");
    ours.append_attribute("xmlns:tintara") = kOurNamespace;
    ours.append_attribute("Company") = Clean(data.Company).c_str();
    ours.append_attribute("Status") = Clean(data.Status).c_str();
    ours.append_attribute("Instrument") = std::to_string(data.Instrument).c_str();
    std::ostringstream skeletonText;
    doc.save(skeletonText, kIndent, pugi::format_default, pugi::encoding_utf8);
    const std::string skeleton = skeletonText.str();
    const std::string marker = std::string("<!--") + kObjectsMarker + "-->";
    const std::size_t at = skeleton.find(marker);
    if (at == std::string::npos) {
        out << skeleton;
        return;
    }
    const std::size_t lineStart = skeleton.rfind('\n', at) + 1;
    const std::size_t lineEnd = skeleton.find('\n', at) + 1;
    out.write(skeleton.data(), static_cast<std::streamsize>(lineStart));

    pugi::xml_document scratch;
    std::string values;
    int64_t r = 0;
    walk([&](const SaveSetRecord& rec) {
        scratch.reset();
        pugi::xml_node object = scratch.append_child("cc:Object");
        object.append_attribute("ObjectType") = "Standard";
        object.append_attribute("Name") = Clean(rec.Name).c_str();
        object.append_attribute("Id") = std::to_string(r + 1).c_str();
        pugi::xml_node colourValues = object.append_child("cc:ColorValues");
        for (int a = 0; a < angles; ++a) {
            values.clear();
            for (const double v : rec.Curves[a]) {
                if (!std::isfinite(v)) {
                    throw ComputeError("record " + std::to_string(r + 1) + " (" + rec.Name +
                                       ") holds a value that is not a number");
                }
                if (!values.empty())
                    values += ' ';
                values += FormatDecimal(v, -2);
            }
            pugi::xml_node spectrum = colourValues.append_child("cc:ReflectanceSpectrum");
            spectrum.append_attribute(kCondition) = conditionId(a).c_str();
            spectrum.text() = values.c_str();
        }
        // cc:CxF > cc:Resources > cc:ObjectCollection > cc:Object
        object.print(out, kIndent, pugi::format_default, pugi::encoding_utf8, 3);
        ++r;
    });
    out.write(skeleton.data() + lineEnd, static_cast<std::streamsize>(skeleton.size() - lineEnd));
}

void ExportCxf(const SaveSetData& data, std::ostream& out, const ExportOptions& options) {
    ExportCxf(data, static_cast<int64_t>(data.Records.size()), WalkOf(data), out, options);
}

void ExportCxf(const SaveSetData& data, const std::filesystem::path& file,
               const ExportOptions& options) {
    WriteFileAtomically(file, [&](std::ostream& out) { ExportCxf(data, out, options); });
}

}  // namespace tintara
