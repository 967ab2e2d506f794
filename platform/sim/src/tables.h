// The simulated table iterator: the platform object TableObject::createIterator
// hands out, with the simulator's own reading operations (SimIterator).
#pragma once

#include "model.h"

#include <common/callback_thread.h>
#include <common/mutex.h>
#include <lomodelapi/model_objects.h>
#include <tvsim/simulator.h>

namespace tvsim {

// Reading operations may run on any client thread; every event goes to the
// iterator's observer on the callback thread. Rows are read from the table's
// current snapshot, so a reader never holds the model's lock while it works.
class SimTableIterator final : public TableIteratorObject, public SimIterator {
public:
    SimTableIterator(Model& model, CallbackThread& callbacks, std::shared_ptr<Entry> table,
                     lomodelapi::ObserverTableIterator* observer);

    const SubscriptionPtr& subscription() const { return m_subscription; }
    const std::shared_ptr<Entry>& table() const { return m_table; }

    int getType(lomodelapi::ObjectTypeSpec& type) override;

    void seekToRow(int row) override;
    void seekToContent(const std::string& cell) override;
    void readRow() override;
    void readRows(int count) override;
    void commit() override;
    int rowCount() const override;
    int cursor() const override;

    void emitCommit(int status) override;
    void emitTotalCount(int count) override;
    void emitSeekToRow(int row) override;
    void emitSeekToContent(int row) override;
    void emitCursorPosition(int row) override;
    void emitReadRow(const Row& row) override;
    void emitReadRowChunk(const std::vector<Row>& rows) override;
    void emitIteratorReady(int status) override;
    void emitUpdate(int change) override;

private:
    template <typename Notify>
    void post(Notify notify);
    void postChunk(Rows rows, std::size_t first, std::size_t last);

    Model& m_model;
    CallbackThread& m_callbacks;
    const std::shared_ptr<Entry> m_table;
    lomodelapi::ObserverTableIterator* const m_observer;
    const SubscriptionPtr m_subscription;
    // Held while an operation moves the cursor and queues its events, so the
    // events of concurrent operations do not interleave.
    mutable Mutex m_mutex;
    int m_cursor SYSACCESS_GUARDED_BY(m_mutex) = 0;
};

}  // namespace tvsim
