// tintara show FILE.wsv: a save set's header and every record, curves included.
#include <cstdio>
#include <ostream>
#include <string>

#include "cli/Args.h"
#include "cli/Commands.h"
#include "files/SaveSetLibrary.h"
#include "workspace/GlobalVariables.h"
#include "workspace/MakeSensorList.h"

namespace tintara::cli {

namespace {

// Texts may hold NULs and other control characters (the library hands them back as stored); show
// them as \xNN so that every record stays on its own lines.
std::string Visible(const std::string& text) {
    std::string out;
    for (char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 32 || u == 127) {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02X", u);
            out += code;
        } else if (c == '\\') {
            out += "\\\\";
        } else {
            out += c;
        }
    }
    return out;
}

std::string Number(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6f", v);
    return text;
}

template <typename T, std::size_t N>
std::string List(const std::array<T, N>& values) {
    std::string out;
    for (std::size_t i = 0; i < N; ++i) {
        if (i)
            out += ' ';
        if constexpr (std::is_floating_point_v<T>) {
            out += Number(values[i]);
        } else {
            out += std::to_string(values[i]);
        }
    }
    return out;
}

bool AnyNonZero(const Curve& curve) {
    for (double v : curve) {
        if (v != 0.0)
            return true;
    }
    return false;
}

}  // namespace

int RunShow(const Arguments& args, CommandContext& context) {
    const Args parsed(args, {}, {});
    if (parsed.Positionals().size() != 1)
        throw UsageError("give exactly one save set");
    const std::string file = parsed.Positionals().front();
    const SaveSetData d = LoadSaveSet(file);  // a bad file throws, naming it: exit 1

    GlobalVariables ws;
    const MakeSensorList catalogue(ws);
    auto instrument = [&](int16_t id) {
        return std::to_string(id) + " (" + catalogue.FindInstrument(id) + ")";
    };

    std::ostream& out = context.out;
    out << "Save set: " << file << "\n"
        << "Version: " << d.Version << "\n"
        << "File type: " << d.FileType << "\n"
        << "Angle positions: " << d.NumAngles << "\n"
        << "Angle types: " << List(d.AngleTypes) << "\n"
        << "Illuminants: " << List(d.Illuminants) << "\n"
        << "CMC factors: " << List(d.CMCFactors) << "\n"
        << "Colour space: " << d.ColorSpace << "\n"
        << "Observer: " << d.Observer << "\n"
        << "Warning level: " << Number(d.WarningLevel) << "\n"
        << "Company: " << Visible(d.Company) << "\n"
        << "Status: " << Visible(d.Status) << "\n"
        << "Instrument: " << instrument(d.Instrument) << "\n"
        << "Records: " << d.Records.size() << "\n";
    for (std::size_t r = 0; r < d.Records.size(); ++r) {
        const SaveSetRecord& rec = d.Records[r];
        out << "\nRecord " << r << "\n"
            << "  Name: " << Visible(rec.Name) << "\n"
            << "  Second name: " << Visible(rec.Name2) << "\n"
            << "  System: " << Visible(rec.System) << "\n"
            << "  Notes: " << Visible(rec.Notes) << "\n"
            << "  Status: " << Visible(rec.Status.empty() ? d.Status : rec.Status) << "\n"
            << "  Instrument: " << instrument(rec.Instrument) << "\n"
            << "  Time: " << rec.Time << "\n";
        for (int a = 0; a < kMaxAngles; ++a) {
            // A one-angle set may still carry a second curve (correlated fandecks do).
            if (a >= d.NumAngles && !AnyNonZero(rec.Curves[a]))
                continue;
            out << "  Angle " << a << ":";
            for (double v : rec.Curves[a])
                out << ' ' << Number(v);
            out << "\n";
        }
    }
    return 0;
}

}  // namespace tintara::cli
