#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bus/remote_object.h"
#include "television/table_iterator.h"

// Private to the platform library.

namespace bus {

/// An iterator that the television made for this process. It is heard from when it is made until it is destroyed.
class RemoteIterator final : public objbus::TableIterator, public Listener {
public:
    RemoteIterator(Model& model, std::string path, objbus::ObserverTableIterator* observer);

    void requestTotalCount() override;
    void seekToRow(int row) override;
    void seekToContent(std::string const& content) override;
    void readRow() override;
    void readRowChunk(int count) override;
    void commit() override;

    void hear(sd_bus_message* signal) override;
    /// The television that has it is gone. Another one may give the path to another iterator.
    void lose();
    /// Ends it, here and in the television.
    void destroy(std::string const& table);

    [[nodiscard]] std::string const& path() const { return path_; }
    [[nodiscard]] std::shared_ptr<television::Registration> const& registration() const {
        return connection_.registration;
    }

private:
    void tell(char const* name, Content arguments) const;

    std::atomic<bool> isLost_ = false;

    Model& model_;
    std::string const path_;
    television::Connection<objbus::ObserverTableIterator> const connection_;
};

/// A table, and the iterators that were made on it here.
class TableObject final : public ObjectOf<objbus::ObjectTable, objbus::ObserverTable> {
public:
    using ObjectOf::ObjectOf;

    objbus::TableIterator* createIterator(objbus::IteratorType const& type, objbus::ObserverTableIterator* observer,
                                          std::vector<objbus::TableSelection> const& selections,
                                          std::vector<int> const& columns,
                                          std::vector<objbus::TableOrder> const& orders) override;
    int destroyIterator(objbus::TableIterator* iterator) override;

    void hear(sd_bus_message* signal) override;
    void lose() override;

private:
    std::map<objbus::TableIterator const*, std::shared_ptr<RemoteIterator>>
        iterators_;  ///< The model's mutex guards it.
};

}  // namespace bus
