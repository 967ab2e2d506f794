// Fuzzes the simulator's model files: the input is the text of a model file,
// loaded with tvsim::loadModelText into a simulator. A refused file must throw
// tvsim::ModelFileError and nothing else, and leave the simulator as it was
// (nothing half-loaded). A loaded file must have put exactly the entries it
// describes into the model, with no reply delayed beyond a minute. Anything else escaping, a crash or a sanitizer
// report is a finding.
//
// One simulator serves every refused input; a loaded model changes it, so the
// next input gets a fresh one. The last one is never destroyed: at exit the
// simulator library's own statics may already be gone.
#include <tvsim/debug_capture.h>
#include <tvsim/model_file.h>
#include <tvsim/simulator.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <variant>

namespace {

void require(bool condition) {
    if (!condition) {
        __builtin_trap();
    }
}

tvsim::Simulator* g_simulator = nullptr;

// The model holds every described entry, with its columns and rows, and nothing else.
void checkLoaded(const tvsim::Simulator& simulator, const tvsim::ModelDescription& description) {
    for (const tvsim::ValueEntry& value : description.values) {
        require(simulator.has(value.path));
    }
    for (const tvsim::ActionEntry& action : description.actions) {
        require(simulator.has(action.path));
        const auto* reply = std::get_if<tvsim::Reply>(&action.answer);
        require(reply == nullptr || reply->delay <= std::chrono::minutes(1));
    }
    for (const tvsim::TableEntry& table : description.tables) {
        require(simulator.columns(table.path) == table.columns && simulator.rows(table.path) == table.rows);
    }
    require(simulator.list().size() ==
            description.values.size() + description.actions.size() + description.tables.size());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    tvsim::setLogThreshold(tvsim::kLevelNone);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (g_simulator == nullptr) {
        g_simulator = new tvsim::Simulator();
    }
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const tvsim::LoadedModel model = tvsim::loadModelText(text, "fuzz.json", *g_simulator);
        checkLoaded(*g_simulator, model.description);
        delete g_simulator;
        g_simulator = nullptr;
    } catch (const tvsim::ModelFileError&) {
        require(g_simulator->list().empty());
    }
    return 0;
}
