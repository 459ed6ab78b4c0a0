#include "quorvel/JsonUtils.h"

#include <cstdio>
#include <fstream>
#include <sstream>

#include <unistd.h>

namespace quorvel {

namespace {
void setError(std::string* error, std::string text) {
    if (error)
        *error = std::move(text);
}
} // namespace

bool parseJson(const std::string& text, Json& out, std::string* error) {
    Json parsed = Json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (parsed.is_discarded()) {
        // Re-parse with exceptions only on the failure path to get the position and reason.
        try {
            Json ignored = Json::parse(text);
            (void)ignored;
            setError(error, "malformed JSON");
        } catch (const Json::parse_error& e) {
            setError(error, e.what());
        }
        return false;
    }
    out = std::move(parsed);
    return true;
}

bool readJsonFile(const std::string& path, Json& out, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        setError(error, "cannot open " + path + " for reading");
        return false;
    }
    std::ostringstream buf;
    buf << in.rdbuf();
    if (in.bad()) {
        setError(error, "cannot read " + path);
        return false;
    }
    std::string parseError;
    if (!parseJson(buf.str(), out, &parseError)) {
        setError(error, path + ": " + parseError);
        return false;
    }
    return true;
}

bool writeJsonFile(const std::string& path, const Json& doc, std::string* error) {
    const std::string tmp = path + ".tmp" + std::to_string(::getpid());
    {
        std::ofstream outFile(tmp, std::ios::binary | std::ios::trunc);
        if (!outFile) {
            setError(error, "cannot open " + tmp + " for writing");
            return false;
        }
        outFile << doc.dump(4) << '\n';
        outFile.flush();
        if (!outFile) {
            outFile.close();
            std::remove(tmp.c_str());
            setError(error, "cannot write " + path + " (disk full?)");
            return false;
        }
    }
    if (std::rename(tmp.c_str(), path.c_str()) != 0) {
        std::remove(tmp.c_str());
        setError(error, "cannot replace " + path);
        return false;
    }
    return true;
}

} // namespace quorvel
