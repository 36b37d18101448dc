#include "tables.h"

#include "frame.h"

namespace {

struct TableName {
    const char *name;
    Table table;
};
constexpr TableName Names[] = {{"coil", Table::Coils},
                               {"discrete", Table::Discrete},
                               {"input", Table::Input},
                               {"holding", Table::Holding}};

} // namespace

std::optional<Table> readTable(const QString &name) {
    for (const auto &known : Names) {
        if (name == known.name)
            return known.table;
    }
    return std::nullopt;
}

std::vector<Span> spansOf(const QByteArray &request) {
    const int first = numberAt(request, 2);
    const auto counted = [&](Table table) {
        return std::vector<Span>{{table, first, numberAt(request, 4)}};
    };
    switch (byteAt(request, 1)) {
    case MODBUS_FC_READ_COILS:
    case MODBUS_FC_WRITE_MULTIPLE_COILS:
        return counted(Table::Coils);
    case MODBUS_FC_READ_DISCRETE_INPUTS:
        return counted(Table::Discrete);
    case MODBUS_FC_READ_INPUT_REGISTERS:
        return counted(Table::Input);
    case MODBUS_FC_READ_HOLDING_REGISTERS:
    case MODBUS_FC_WRITE_MULTIPLE_REGISTERS:
        return counted(Table::Holding);
    case MODBUS_FC_WRITE_SINGLE_COIL:
        return {{Table::Coils, first, 1}};
    case MODBUS_FC_WRITE_SINGLE_REGISTER:
    case MODBUS_FC_MASK_WRITE_REGISTER:
        return {{Table::Holding, first, 1}};
    case MODBUS_FC_WRITE_AND_READ_REGISTERS:
        return {{Table::Holding, first, numberAt(request, 4)},
                {Table::Holding, numberAt(request, 6), numberAt(request, 8)}};
    default:
        return {};
    }
}

int sizeOf(const modbus_mapping_t &registers, Table table) {
    switch (table) {
    case Table::Coils:
        return registers.nb_bits;
    case Table::Discrete:
        return registers.nb_input_bits;
    case Table::Input:
        return registers.nb_input_registers;
    default:
        return registers.nb_registers;
    }
}

void putEntry(modbus_mapping_t *registers, Table table, int address, int value) {
    if (address < 0 || address >= sizeOf(*registers, table))
        return;
    const auto word = static_cast<std::uint16_t>(value);
    const std::uint8_t bit = value != 0 ? 1 : 0;
    switch (table) {
    case Table::Coils:
        registers->tab_bits[address] = bit;
        break;
    case Table::Discrete:
        registers->tab_input_bits[address] = bit;
        break;
    case Table::Input:
        registers->tab_input_registers[address] = word;
        break;
    case Table::Holding:
        registers->tab_registers[address] = word;
        break;
    }
}
