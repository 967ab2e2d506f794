// The names tvsimd serves under: its well-known name, object paths and
// interfaces, shared with the remote platform that calls them.
// docs/simulator.md describes each interface.
#pragma once

namespace tvsim::bus {

constexpr const char* kServiceName = "io.sysaccess.TvSim";
constexpr const char* kControlPath = "/io/sysaccess/TvSim";
constexpr const char* kModelPrefix = "/io/sysaccess/TvSim/model";
constexpr const char* kIteratorPrefix = "/io/sysaccess/TvSim/iterator";

// On kControlPath, one interface per facet of the simulator.
constexpr const char* kControlInterface = "io.sysaccess.TvSim.Control";                // the model
constexpr const char* kFaultsInterface = "io.sysaccess.TvSim.Control.Faults";          // fault injection
constexpr const char* kRespondersInterface = "io.sysaccess.TvSim.Control.Responders";  // how actions answer
constexpr const char* kRecordsInterface = "io.sysaccess.TvSim.Control.Records";        // what clients asked
constexpr const char* kPlatformInterface = "io.sysaccess.TvSim.Platform";              // the root interface
constexpr const char* kScenarioInterface = "io.sysaccess.TvSim.Scenario";              // plays and recordings

// On the model objects and iterators.
constexpr const char* kObjectInterface = "io.sysaccess.TvSim.Object";
constexpr const char* kValueInterface = "io.sysaccess.TvSim.Value";
constexpr const char* kActionInterface = "io.sysaccess.TvSim.Action";
constexpr const char* kTableInterface = "io.sysaccess.TvSim.Table";
constexpr const char* kIteratorInterface = "io.sysaccess.TvSim.Iterator";

// The bus driver, the only sender whose NameOwnerChanged may be believed.
constexpr const char* kBusDriverName = "org.freedesktop.DBus";
constexpr const char* kBusDriverPath = "/org/freedesktop/DBus";
constexpr const char* kBusDriverInterface = "org.freedesktop.DBus";

// The matches a client of the service adds: every signal of the service's
// objects, and the bus driver's report of the service's name changing hands.
constexpr const char* kServiceSignalMatch = "type='signal',path_namespace='/io/sysaccess/TvSim'";
constexpr const char* kServiceOwnerMatch =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='io.sysaccess.TvSim'";

}  // namespace tvsim::bus
