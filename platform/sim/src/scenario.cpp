// The names of a scenario's faults: sactl's, so that a scenario and a command line read alike.
#include <tvsim/scenario.h>

namespace tvsim {
namespace {

constexpr ScenarioFaultKind kFaultKinds[] = {
    ScenarioFaultKind::FailConnects, ScenarioFaultKind::NullConnects,  ScenarioFaultKind::ReportType,
    ScenarioFaultKind::FailGetter,   ScenarioFaultKind::RefuseInvokes, ScenarioFaultKind::FailIterators,
};

}  // namespace

const char* scenarioFaultName(ScenarioFaultKind kind) {
    switch (kind) {
        case ScenarioFaultKind::FailConnects:
            return "fail-connects";
        case ScenarioFaultKind::NullConnects:
            return "null-connects";
        case ScenarioFaultKind::ReportType:
            return "report-type";
        case ScenarioFaultKind::FailGetter:
            return "fail-getter";
        case ScenarioFaultKind::RefuseInvokes:
            return "refuse-invokes";
        case ScenarioFaultKind::FailIterators:
            break;
    }
    return "fail-iterators";
}

std::optional<ScenarioFaultKind> scenarioFaultKind(const std::string& name) {
    for (ScenarioFaultKind kind : kFaultKinds) {
        if (name == scenarioFaultName(kind)) {
            return kind;
        }
    }
    return std::nullopt;
}

bool scenarioFaultHasCount(ScenarioFaultKind kind) {
    return kind != ScenarioFaultKind::ReportType && kind != ScenarioFaultKind::FailGetter;
}

bool scenarioFaultHasStatus(ScenarioFaultKind kind) {
    return kind == ScenarioFaultKind::FailConnects || kind == ScenarioFaultKind::FailGetter ||
           kind == ScenarioFaultKind::RefuseInvokes;
}

}  // namespace tvsim
