#include "Output.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "Renderers.h"
#include "UserError.h"

namespace kvtables {

std::string Render(const ResultSet& results, const std::string& format, int width)
{
    if (format == "json") return RenderJson(results);
    if (format == "csv") return RenderCsv(results);
    if (format == "html") return RenderHtml(results);
    if (format == "text") return RenderText(results, TextOptions{width});
    throw UserError("unknown output format " + Quote(format));
}

void WriteOutput(const std::string& text, const std::string& path)
{
    if (path.empty()) {
        std::cout << text << std::flush;
        return;
    }
    // Written beside the target and renamed over it: readers never see half a file.
    const std::string temp = path + ".tmp";
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        if (!out) {
            std::error_code ignored;
            std::filesystem::remove(temp, ignored);
            throw UserError(path + ": cannot write the output file");
        }
    }
    std::error_code ec;
    std::filesystem::rename(temp, path, ec);
    if (ec) {
        std::filesystem::remove(temp, ec);
        throw UserError(path + ": cannot write the output file");
    }
}

}  // namespace kvtables
