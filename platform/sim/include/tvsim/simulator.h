// Control side of the host simulator of the TV platform.
//
// A Simulator object is the running platform: while it lives, the process
// framework hands out "orvik.lm.interfaces.tvapi.RootInterface" and the model
// it holds is reachable through the platform's headers. One Simulator at a
// time per process. Its control operations may be called from any thread,
// including from observer callbacks (on the callback thread).
//
// Its operations come in four facets, each declared in a header of its own:
// ModelControl (objects, values, responders, rows), FaultInjection,
// CallRecords (what clients asked) and CallbackControl (flush). Code that
// needs one concern can take that facet alone, e.g. a FaultInjection&.
//
// Every notification (value changes, action outcomes, iterator events) is
// delivered on one callback thread, in order. Once RootInterface::disconnect
// has returned on another thread, that observer gets no further call; a
// disconnect made on the callback thread itself (from inside a notification)
// stops later calls but cannot wait for the one in progress. Either way its
// delayed outcomes are dropped at once. Never destroy the Simulator on the
// callback thread.
#pragma once

#include <tvsim/call_records.h>
#include <tvsim/callback_control.h>
#include <tvsim/fault_injection.h>
#include <tvsim/model_control.h>

#include <lomodelapi/model_objects.h>

#include <memory>
#include <string>
#include <vector>

namespace tvsim {

// Platform statuses the simulator answers besides those tests choose:
// getInterfaceReference with a name nothing is registered under,
constexpr int kStatusNoSuchInterface = 1;
// RootInterface::connect with a path that holds no model object,
constexpr int kStatusUnknownPath = 2;
// disconnect or destroyIterator with something the simulator did not hand out
// (or that was already given back; a disconnect must also name its path and observer).
constexpr int kStatusUnknownObject = 3;

class Simulator final : public ModelControl, public FaultInjection, public CallRecords, public CallbackControl {
public:
    Simulator();  // starts the platform with an empty model
    // Drops the delayed outcomes not yet due, delivers everything else queued,
    // unregisters the interface and frees the model: it never waits for a delay.
    ~Simulator();

    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // The running simulator, or null.
    static Simulator* current();

private:
    SimulatorCore& core() const override;

    std::unique_ptr<SimulatorCore> m_core;
};

// What moves a platform iterator: the operations that a TV's own iterator
// takes, for clients that read rows through an iterator made by
// TableObject::createIterator, in this process or from the TV service. Events
// reach the iterator's observer on the callback thread. A newly created
// iterator reports notifyIteratorReady(0) and notifyTotalCount(rows).
class IteratorMoves {
public:
    // The moves of a platform iterator; null for anything else.
    static IteratorMoves* from(TableIteratorObject* iterator);

    virtual ~IteratorMoves() = default;
    // Rows run from 0 to rows - 1; the cursor may also stand at rows (the end).
    // seekToRow: notifySeekToRow(row), notifyCursorPosition(row); a row outside
    // 0..rows reports -1 and the unchanged cursor.
    virtual void seekToRow(int row) = 0;
    // notifySeekToContent(first row holding a cell equal to it, or -1); a found row becomes the cursor.
    virtual void seekToContent(const std::string& cell) = 0;
    // notifyReadRow(row at cursor), cursor moves on, notifyCursorPosition; at the end an empty row.
    virtual void readRow() = 0;
    virtual void readRows(int count) = 0;  // notifyReadRowChunk(up to count rows), cursor moves on
    virtual void commit() = 0;             // notifyCommit(0)
};

// The in-process simulator's iterator: its moves, its state, and raw events.
class SimIterator : public IteratorMoves {
public:
    // The simulator's view of a platform iterator; null for anything else.
    static SimIterator* from(TableIteratorObject* iterator);

    virtual int rowCount() const = 0;
    virtual int cursor() const = 0;

    // Raw platform-originated events, with any argument.
    virtual void emitCommit(int status) = 0;
    virtual void emitTotalCount(int count) = 0;
    virtual void emitSeekToRow(int row) = 0;
    virtual void emitSeekToContent(int row) = 0;
    virtual void emitCursorPosition(int row) = 0;
    virtual void emitReadRow(const Row& row) = 0;
    virtual void emitReadRowChunk(const std::vector<Row>& rows) = 0;
    virtual void emitIteratorReady(int status) = 0;
    virtual void emitUpdate(int change) = 0;
};

}  // namespace tvsim
