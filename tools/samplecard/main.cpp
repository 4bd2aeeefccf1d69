#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "tools/samplecard/SampleCard.h"

int main(int argc, char** argv) {
    CardPlan plan;
    CLI::App app("Makes a memory card with sample pictures in a folder.");
    app.add_option("folder", plan.folder, "where the card's root will be")->required();
    app.add_option("--pictures", plan.pictures, "how many pictures")
        ->check(CLI::Range(1, 9999))
        ->capture_default_str();
    app.add_option("--seed", plan.seed, "the same number makes the same card")
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        writeSampleCard(plan);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "zlk-samplecard: " << error.what() << "\n";
        return 1;
    }
}
