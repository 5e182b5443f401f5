#include "bench/machine.h"

#include <stdexcept>

namespace bench {

namespace control = embedded::control;

std::string KeyName(std::size_t index, Shape shape) {
    const std::string name = "Key" + std::to_string(index);
    return shape == Shape::Flat ? name : "Group" + std::to_string(index / 100) + '\\' + name;
}

BenchMachine::BenchMachine(const std::string& name) : m_folder(Scratch() / name) {
    if (!control::NewMachine(Scratch(), name) || !control::UseMachine(m_folder)) {
        throw std::runtime_error("no machine can be made in " + m_folder.string());
    }
    m_store = embedded::Store::Open(m_folder / "registry");
}

void BenchMachine::Fill(const std::string& branch, std::size_t keys, std::size_t values, Shape shape) {
    constexpr std::size_t kStep = 1000;  // keys made visible at once
    for (std::size_t first = 0; first < keys; first += kStep) {
        const embedded::Store::Lock lock(*m_store);
        for (std::size_t key = first; key < std::min(first + kStep, keys); ++key) {
            const std::string path = "HKLM\\" + branch + '\\' + KeyName(key, shape);
            m_store->CreateKey(path);
            for (std::size_t value = 0; value < values; ++value) {
                m_store->WriteText(path, "Value" + std::to_string(value), kValueText);
            }
        }
    }
}

}  // namespace bench
