// Measurement files in and out of save sets: the format chosen, the file written safely.
#include "files/Interchange.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <functional>
#include <optional>
#include <system_error>

#include "files/Cxf.h"
#include "files/SaveSetFile.h"
#include "workspace/Error.h"
#include "workspace/WriteFile.h"

namespace tintara {

std::ifstream OpenMeasurementFile(const std::filesystem::path& file) {
    std::error_code ec;
    if (std::filesystem::is_directory(file, ec))
        throw IoError(file.string() + ": this is a folder, not a measurement file");
    std::ifstream in(file, std::ios::binary);
    if (!in)
        throw IoError(file.string() + ": the file could not be opened");
    return in;
}

SaveSetData KeepAll(const std::function<void(const ImportSink& sink)>& read) {
    SaveSetData data;
    read([&](const SaveSetData& header, const SaveSetRecordSource& next) {
        data = header;
        SaveSetRecord rec;
        while (next(rec))
            data.Records.push_back(std::move(rec));
    });
    return data;
}

bool ReadPiece(std::istream& in, std::string& buffer, std::size_t most, const std::string& source) {
    const std::size_t kept = buffer.size();
    buffer.resize(kept + most);
    in.read(buffer.data() + kept, static_cast<std::streamsize>(most));
    const auto got = static_cast<std::size_t>(in.gcount());
    if (in.bad())
        throw IoError(source + ": the file could not be read");
    buffer.resize(kept + got);
    return got < most;
}

MeasurementFormat FormatOfMeasurementFile(const std::filesystem::path& file) {
    std::ifstream in = OpenMeasurementFile(file);
    char head[512];
    in.read(head, sizeof head);
    const std::string_view text(head, static_cast<std::size_t>(in.gcount()));
    std::size_t i = text.substr(0, 3) == "\xEF\xBB\xBF" ? 3 : 0;
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i])))
        ++i;
    return i < text.size() && text[i] == '<' ? MeasurementFormat::Cxf : MeasurementFormat::Cgats;
}

MeasurementFormat FormatForExport(const std::filesystem::path& file) {
    std::string extension = file.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension == ".cxf" ? MeasurementFormat::Cxf : MeasurementFormat::Cgats;
}

SaveSetData ImportMeasurements(const std::filesystem::path& file, const ImportOptions& options,
                               ImportReport* report) {
    return FormatOfMeasurementFile(file) == MeasurementFormat::Cxf
               ? ImportCxf(file, options, report)
               : ImportCgats(file, options, report);
}

void ExportMeasurements(const SaveSetData& data, const std::filesystem::path& file,
                        const ExportOptions& options) {
    if (FormatForExport(file) == MeasurementFormat::Cxf)
        ExportCxf(data, file, options);
    else
        ExportCgats(data, file, options);
}

SaveSetSummary ImportMeasurements(const std::filesystem::path& file,
                                  const std::filesystem::path& saveSet,
                                  const ImportOptions& options, ImportReport* report) {
    SaveSetSummary summary;
    const ImportSink store = [&](const SaveSetData& header, const SaveSetRecordSource& next) {
        summary.Header = header;
        StoreSaveSet(
            header,
            [&](SaveSetRecord& rec) {
                if (!next(rec))
                    return false;
                ++summary.Records;
                return true;
            },
            saveSet);
    };
    const bool cxf = FormatOfMeasurementFile(file) == MeasurementFormat::Cxf;
    std::ifstream in = OpenMeasurementFile(file);
    if (cxf)
        ImportCxf(in, file.string(), store, options, report);
    else
        ImportCgats(in, file.string(), store, options, report);
    return summary;
}

SaveSetSummary ExportSaveSet(const std::filesystem::path& saveSet,
                             const std::filesystem::path& file, const ExportOptions& options) {
    // Opened before the target is touched, so a file that is no save set is refused first.
    std::optional<SaveSetReader> first(std::in_place, saveSet);
    SaveSetSummary summary{first->Header(), first->RecordCount()};
    // The first pass reads through the reader opened above; a later one opens its own.
    const SaveSetWalk walk = [&](const std::function<void(const SaveSetRecord&)>& visit) {
        SaveSetReader reader = first ? std::move(*first) : SaveSetReader(saveSet);
        first.reset();
        SaveSetRecord rec;
        while (reader.Next(rec))
            visit(rec);
    };
    WriteFileAtomically(file, [&](std::ostream& out) {
        if (FormatForExport(file) == MeasurementFormat::Cxf)
            ExportCxf(summary.Header, summary.Records, walk, out, options);
        else
            ExportCgats(summary.Header, summary.Records, walk, out, options);
    });
    return summary;
}

}  // namespace tintara
