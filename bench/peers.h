// Small owners around the peers' C interfaces. A peer that the build did not find is missing, and its rows say so.
#ifndef INSTALIB_BENCH_PEERS_H
#define INSTALIB_BENCH_PEERS_H

#include <stdexcept>
#include <string>

#ifdef INSTALIB_BENCH_SQLITE
#include <sqlite3.h>
#endif
#ifdef INSTALIB_BENCH_LMDB
#include <lmdb.h>
#endif
#ifdef INSTALIB_BENCH_HIVEX
#include <hivex.h>
#endif

namespace bench {

inline void Expect(bool done, const char* what) {
    if (!done) throw std::runtime_error(what);
}

#ifdef INSTALIB_BENCH_SQLITE
class Sqlite {
  public:
    // A file that, as the machine's store, survives a kill and does not wait for the disk.
    explicit Sqlite(const std::string& file);
    ~Sqlite() { sqlite3_close(m_database); }
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;
    void Execute(const std::string& statements);
    // A table of keys and one of values, with `keys` keys below `branch`.
    void Fill(const std::string& branch, std::size_t keys, std::size_t values);
    sqlite3* Get() const { return m_database; }

  private:
    sqlite3* m_database = nullptr;
};
#endif

#ifdef INSTALIB_BENCH_LMDB
class Lmdb {
  public:
    explicit Lmdb(const std::string& file, bool readOnly);
    ~Lmdb() { mdb_env_close(m_environment); }
    Lmdb(const Lmdb&) = delete;
    Lmdb& operator=(const Lmdb&) = delete;
    void Fill(std::size_t keys, std::size_t values);
    // One transaction for each; empty when there is nothing.
    void Put(const std::string& key, const std::string& value);
    void Delete(const std::string& key);
    std::string Get(const std::string& key);

  private:
    template <class Work>
    void InTransaction(unsigned flags, Work work);
    MDB_env* m_environment = nullptr;
};
#endif

#ifdef INSTALIB_BENCH_HIVEX
// A hive file with a root key and nothing in it.
void MakeEmptyHive(const std::string& file);
#endif

}  // namespace bench

#endif
