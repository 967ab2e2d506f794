#include "dashboard_commands.h"

#include <tvsim/model_file.h>

namespace tvsimd {
namespace {

constexpr int kBadRequest = 400;
constexpr int kNotFound = 404;

lomodelapi::ObjectTypeSpec realTypeOf(const tvsim::Simulator& simulator, const std::string& path) {
    for (const tvsim::ModelEntry& entry : simulator.list(path)) {
        if (entry.path == path) {
            return entry.type;
        }
    }
    throw web::ApiError(kNotFound, "the model holds no object at '" + path + "'");
}

void requireType(const tvsim::Simulator& simulator, const std::string& path, lomodelapi::ObjectTypeSpec type) {
    const lomodelapi::ObjectTypeSpec real = realTypeOf(simulator, path);
    if (real != type) {
        throw web::ApiError(
            kBadRequest, "'" + path + "' is " + tvsim::objectTypeName(real) + ", not " + tvsim::objectTypeName(type));
    }
}

}  // namespace

void DashboardCommands::setValue(const web::SetValueRequest& request) {
    tvsim::Simulator& simulator = m_service.simulator();
    tvsim::ValueType type{};
    const lomodelapi::ObjectTypeSpec real = realTypeOf(simulator, request.path);
    if (!tvsim::valueTypeOfObject(real, type)) {
        throw web::ApiError(kBadRequest, "'" + request.path + "' is " + tvsim::objectTypeName(real) + ", not a value");
    }
    tvsim::setModelValue(simulator, request.path, web::decodeValue(type, request.value));
}

void DashboardCommands::fault(const web::FaultRequest& request) {
    tvsim::Simulator& simulator = m_service.simulator();
    const int count = request.clear ? 0 : request.count;
    switch (request.kind) {
        case web::FaultKind::FailGetter: {
            tvsim::ValueType type{};
            if (!tvsim::valueTypeOfObject(realTypeOf(simulator, request.path), type) ||
                type == tvsim::ValueType::INTEGER || type == tvsim::ValueType::INT64) {
                throw web::ApiError(kBadRequest, "only string and vector getters can fail");
            }
            simulator.failGetter(request.path, request.clear ? 0 : request.status);
            return;
        }
        case web::FaultKind::FailConnects:
            simulator.failNextConnects(request.path, count, request.status);
            return;
        case web::FaultKind::NullObjectOnConnects:
            simulator.nullObjectOnNextConnects(request.path, count);
            return;
        case web::FaultKind::ReportType: {
            const lomodelapi::ObjectTypeSpec real = realTypeOf(simulator, request.path);
            simulator.reportType(request.path,
                                 request.clear ? real : static_cast<lomodelapi::ObjectTypeSpec>(request.type));
            return;
        }
        case web::FaultKind::RefuseInvokes:
            requireType(simulator, request.path, lomodelapi::OBJECT_TYPE_ACTION);
            simulator.refuseNextInvokes(request.path, count, request.status);
            return;
        case web::FaultKind::FailCreateIterators:
            requireType(simulator, request.path, lomodelapi::OBJECT_TYPE_TABLE);
            simulator.failNextCreateIterators(request.path, count);
            return;
        case web::FaultKind::RefuseInterfaceReference:
            simulator.refuseInterfaceReference(!request.clear, request.status);
            return;
        case web::FaultKind::EmptyInterfaceReference:
            simulator.emptyInterfaceReference(!request.clear);
            return;
        case web::FaultKind::NullRootObject:
            simulator.nullRootObject(!request.clear);
            return;
    }
}

void DashboardCommands::answer(const web::AnswerRequest& request) {
    requireType(m_service.simulator(), request.path, lomodelapi::OBJECT_TYPE_ACTION);
    if (request.kind == web::AnswerKind::Own) {
        // The loaded models belong to the bus thread (LoadModel changes them there).
        Service& service = m_service;
        service.queue().post([&service, path = request.path] {
            service.simulator().setResponder(path, service.models().ownResponder(path));
            service.answers().forget(path);
        });
        return;
    }
    tvsim::Reply reply;
    reply.kind = request.kind == web::AnswerKind::Results   ? tvsim::Reply::Kind::Results
                 : request.kind == web::AnswerKind::Failure ? tvsim::Reply::Kind::Failure
                                                            : tvsim::Reply::Kind::NoReply;
    reply.error = request.error;
    reply.delay = request.delay;
    m_service.simulator().setResponder(
        request.path, [reply](unsigned int, const std::vector<lomodelapi::Argument>&) { return reply; });
    m_service.answers().chose(request.path, reply);
}

}  // namespace tvsimd
