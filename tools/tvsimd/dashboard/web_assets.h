// The dashboard's static files (tools/tvsimd/dashboard/web), compiled into tvsimd as
// bytes at build time, so the daemon serves them from any working directory.
#pragma once

#include <string_view>
#include <vector>

namespace tvsimd {

struct WebAsset {
    std::string_view name;  // the file name, e.g. "app.js"
    std::string_view type;  // its Content-Type
    std::string_view content;
};

const std::vector<WebAsset>& webAssets();  // generated web_assets.cpp

}  // namespace tvsimd
