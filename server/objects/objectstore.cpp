#include "objects/objectstore.h"

#include "common/crypto.h"
#include "common/text.h"

namespace tessly::server {

std::string multipartEtag(const std::vector<std::string> &partMd5Hex)
{
    std::string concatenated;
    for (const std::string &hex : partMd5Hex) {
        for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
            concatenated.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return "\"" + toHex(md5(concatenated)) + "-" + std::to_string(partMd5Hex.size()) + "\"";
}

std::string sizeMismatch(std::int64_t actual, std::int64_t declared)
{
    return "The parts hold " + std::to_string(actual) + " bytes but the upload was declared with "
        + std::to_string(declared);
}

std::string normaliseEtag(const std::string &etag)
{
    std::string out = etag;
    if (out.size() >= 2 && out.front() == '"' && out.back() == '"')
        out = out.substr(1, out.size() - 2);
    return toLower(out);
}

} // namespace tessly::server
