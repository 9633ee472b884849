#pragma once

#include "kep/database/kep_db_storage.h"
#include "kep/model_building/kep_builder_model.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// Turns what a builder gathered into a database, in one pass over the model for each step: make the folded
/// objects, join them, check, number, lay out. Steps throw KEP_DB_ERROR; the database is handed out only when
/// all are done.
class KEP_MODEL_FREEZER {
public:
  explicit KEP_MODEL_FREEZER(KEP_DB_BUILDER::MODEL& model) : m_model(model) {}
  /// `occurrences`, if given, are those of this very model, laid out before; they stay with their owner.
  std::unique_ptr<KEP_DB> freeze(std::optional<std::span<const KEP_OCCURRENCE>> occurrences = {});

private:
  using MODEL = KEP_DB_BUILDER::MODEL;

  // kep_model_freezer.cpp: the folded model.
  void make_modules();
  void make_ports(const MODEL::MODULE& from, KEP_MODULE& module);
  void join_equivalents();
  void find_top();

  // kep_model_freezer_contents.cpp: what is inside a module. These run on all threads.
  void make_contents(MODEL::MODULE& from, KEP_MODULE& module);
  static void make_nets(MODEL::MODULE& from, KEP_MODULE& module);
  void make_instances(const MODEL::MODULE& from, KEP_MODULE& module);
  void make_instance(const MODEL::MODULE& from, const MODEL::INSTANCE& given, KEP_MODULE& module,
                     KEP_INSTANCE& instance, KEP_INST_PORT* inst_ports);
  static void check_net_names(const KEP_MODULE& module);
  static void fill_nets(const MODEL::MODULE& from, KEP_MODULE& module);
  static void index_names(KEP_MODULE& module);

  // kep_model_freezer_unfold.cpp: slots, numbers, occurrences.
  void make_slots(KEP_MODULE& module);
  std::vector<KEP_MODULE*> order_bottom_up();
  void number_slots();
  std::uint64_t number_tops();
  template <class GET, class USE, class SET_FIRST_CHILD>
  void visit_occurrences(std::uint64_t num_occurrences, const GET& get, const USE& use,
                         const SET_FIRST_CHILD& set_first_child) const;
  void lay_out_occurrences();
  void take_occurrences(std::span<const KEP_OCCURRENCE> given);

  [[noreturn]] static void fail(const std::string& place, const std::string& reason);
  static std::string place_of(const KEP_MODULE& module);
  /// `part` is where in the module the name stands: ".ports", or empty for the module's own.
  static void check_name(const KEP_MODULE& module, const char* part, const char* name);

  KEP_MODULE& get_module(std::uint32_t number) { return *m_storage->m_owned[number]; }

  MODEL& m_model;
  std::unique_ptr<KEP_DB> m_db;
  KEP_DB::STORAGE* m_storage = nullptr;
  std::vector<std::uint64_t> m_num_inner; // by module number: inner occurrences at and below one occurrence
};
