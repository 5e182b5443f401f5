#include "bench/peers.h"

#include <cstdint>
#include <cstring>
#include <fstream>

#include "bench/machine.h"

namespace bench {

#ifdef INSTALIB_BENCH_SQLITE
Sqlite::Sqlite(const std::string& file) {
    Expect(sqlite3_open(file.c_str(), &m_database) == SQLITE_OK, "SQLite opens no file");
    Execute("pragma journal_mode=wal; pragma synchronous=off;");
}

void Sqlite::Execute(const std::string& statements) {
    Expect(sqlite3_exec(m_database, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, "SQLite fails");
}

void Sqlite::Fill(const std::string& branch, std::size_t keys, std::size_t values) {
    Execute(
        "create table keys(path text primary key collate nocase);"
        "create table vals(path text collate nocase, name text collate nocase, type int, data blob,"
        " primary key(path, name)); begin;");
    for (std::size_t key = 0; key < keys; ++key) {
        const std::string path = branch + '\\' + KeyName(key, Shape::Grouped);
        Execute("insert into keys values('" + path + "')");
        for (std::size_t value = 0; value < values; ++value) {
            Execute("insert into vals values('" + path + "','Value" + std::to_string(value) + "',1,'" + kValueText +
                    "')");
        }
    }
    Execute("commit");
}
#endif

#ifdef INSTALIB_BENCH_LMDB
Lmdb::Lmdb(const std::string& file, bool readOnly) {
    constexpr std::size_t kMapBytes = std::size_t(4) << 30;
    mdb_env_create(&m_environment);
    mdb_env_set_mapsize(m_environment, kMapBytes);
    const unsigned flags = MDB_NOSUBDIR | MDB_NOSYNC | (readOnly ? MDB_RDONLY : 0u);
    Expect(mdb_env_open(m_environment, file.c_str(), flags, 0666) == 0, "LMDB opens no file");
}

template <class Work>
void Lmdb::InTransaction(unsigned flags, Work work) {
    MDB_txn* transaction = nullptr;
    MDB_dbi table = 0;
    Expect(mdb_txn_begin(m_environment, nullptr, flags, &transaction) == 0, "LMDB begins no transaction");
    Expect(mdb_dbi_open(transaction, nullptr, 0, &table) == 0, "LMDB has no table");
    work(transaction, table);
    if ((flags & MDB_RDONLY) != 0)
        mdb_txn_abort(transaction);
    else
        Expect(mdb_txn_commit(transaction) == 0, "LMDB commits nothing");
}

static MDB_val Bytes(const std::string& text) { return {text.size(), const_cast<char*>(text.data())}; }

void Lmdb::Fill(std::size_t keys, std::size_t values) {
    InTransaction(0, [&](MDB_txn* transaction, MDB_dbi table) {
        for (std::size_t key = 0; key < keys; ++key) {
            for (std::size_t value = 0; value < values; ++value) {
                const std::string name = KeyName(key, Shape::Grouped) + "\\Value" + std::to_string(value);
                MDB_val at = Bytes(name);
                MDB_val data = {sizeof kValueText, const_cast<char*>(kValueText)};
                Expect(mdb_put(transaction, table, &at, &data, 0) == 0, "LMDB takes nothing");
            }
        }
    });
}

void Lmdb::Put(const std::string& key, const std::string& value) {
    InTransaction(0, [&](MDB_txn* transaction, MDB_dbi table) {
        MDB_val at = Bytes(key), data = Bytes(value);
        mdb_put(transaction, table, &at, &data, 0);
    });
}

void Lmdb::Delete(const std::string& key) {
    InTransaction(0, [&](MDB_txn* transaction, MDB_dbi table) {
        MDB_val at = Bytes(key);
        mdb_del(transaction, table, &at, nullptr);
    });
}

std::string Lmdb::Get(const std::string& key) {
    std::string value;
    InTransaction(MDB_RDONLY, [&](MDB_txn* transaction, MDB_dbi table) {
        MDB_val at = Bytes(key), data{};
        if (mdb_get(transaction, table, &at, &data) == 0) value.assign(static_cast<char*>(data.mv_data), data.mv_size);
    });
    return value;
}
#endif

#ifdef INSTALIB_BENCH_HIVEX
void MakeEmptyHive(const std::string& file) {
    constexpr std::size_t kPage = 4096;
    std::string bytes(2 * kPage, '\0');
    const auto text = [&](std::size_t offset, const char* value) { bytes.replace(offset, std::strlen(value), value); };
    const auto number = [&](std::size_t offset, std::uint32_t value) { std::memcpy(&bytes[offset], &value, 4); };
    text(0, "regf");
    number(0x04, 1);  // both sequence numbers
    number(0x08, 1);
    number(0x14, 1);  // version 1.3
    number(0x18, 3);
    number(0x20, 1);
    number(0x24, 0x20);   // the root key, behind the header of the first bin
    number(0x28, kPage);  // the bins' length
    number(0x2c, 1);
    text(kPage, "hbin");
    number(kPage + 8, kPage);
    // Cells follow each other behind the bin's header: the root, its security, and one with all that is free.
    constexpr std::size_t kFirst = 0x20, kRootBytes = 0x58, kSecurity = kFirst + kRootBytes, kSecurityBytes = 0x30;
    const auto cell = [&](std::size_t offset, std::int32_t size, const char* kind) {
        number(kPage + offset, std::uint32_t(size));
        text(kPage + offset + 4, kind);
        return kPage + offset;
    };
    const std::size_t root = cell(kFirst, -std::int32_t(kRootBytes), "nk");
    bytes[root + 6] = 0x2c;  // a root, not to be deleted, its name in 8-bit characters
    for (const std::size_t none : {0x20, 0x24, 0x2c, 0x34}) number(root + none, 0xFFFFFFFF);
    number(root + 0x30, kSecurity);
    bytes[root + 0x4c] = 4;
    text(root + 0x50, "ROOT");
    const std::size_t security = cell(kSecurity, -std::int32_t(kSecurityBytes), "sk");
    for (const std::size_t itself : {8, 12}) number(security + itself, kSecurity);
    number(security + 16, 1);   // users of it
    number(security + 20, 20);  // bytes of the descriptor, which grants nothing and denies nothing
    number(security + 24, 0x80000001);
    cell(kSecurity + kSecurityBytes, std::int32_t(kPage - kSecurity - kSecurityBytes), "");
    std::uint32_t check = 0;
    for (std::size_t offset = 0; offset < 0x1fc; offset += 4) {
        std::uint32_t word = 0;
        std::memcpy(&word, &bytes[offset], 4);
        check ^= word;
    }
    number(0x1fc, check);
    std::ofstream(file, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}
#endif

}  // namespace bench
