// The same from an LMDB file: load_first_read_lmdb FILE KEY [memory].
#include <lmdb.h>

#include <string>

#include "bench/private_memory.h"

int main(int count, char** arguments) {
    if (count < 3) return 2;
    MDB_env* environment = nullptr;
    MDB_txn* transaction = nullptr;
    MDB_dbi table = 0;
    std::string name = arguments[2];
    MDB_val key = {name.size(), name.data()}, data{};
    const bool found = mdb_env_create(&environment) == 0 &&
                       mdb_env_open(environment, arguments[1], MDB_NOSUBDIR | MDB_RDONLY, 0666) == 0 &&
                       mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction) == 0 &&
                       mdb_dbi_open(transaction, nullptr, 0, &table) == 0 &&
                       mdb_get(transaction, table, &key, &data) == 0;
    if (found && count > 3) std::printf("%.3f", PrivateMemory());
    return found ? 0 : 1;
}
