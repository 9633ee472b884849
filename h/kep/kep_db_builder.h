#pragma once

/// @file
/// Making a model in a program.

#include "kep/kep_db.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

///@{
/// By these a builder knows what it was given. Each names its owner, too, the builder or the module, so an id
/// goes to no other one; an id by default is none. Ids of one owner count up as they are given. Ports are
/// known by their index in the module.
enum class KEP_MODULE_ID : std::uint64_t {};
enum class KEP_INSTANCE_ID : std::uint64_t {};
enum class KEP_NET_ID : std::uint64_t {};
///@}

/// What is told of a module beside its name and contents (docs/glossary.md).
struct KEP_MODULE_PROPERTIES {
  std::string m_name = {};                            ///< empty: the key
  std::string m_equivalents = {};                     ///< name of the group of equivalents; empty: none
  KEP_VIEW_TYPE m_view_type = KEP_VIEW_TYPE::LOGICAL; ///< never DEFAULT_VIEW
  bool m_is_designated_top = false;   ///< one module is; without any, the one that no instance uses
  bool m_is_ip_root = false;          ///< KEP_MODULE::TRAIT::IP_ROOT
  bool m_has_trait_0 = false;         ///< KEP_MODULE::TRAIT::TRAIT_0
  bool m_is_blc_bidir_buffer = false; ///< a BLC bidirectional buffer
  bool m_is_foreign = false;          ///< it lies in another database than the top
  ///@{
  /// Read on the top module alone.
  KEP_DB_TYPE m_db_type = KEP_DB_TYPE::REDUNDANCY;
  bool m_is_device_top = false;
  ///@}
};

/// What is told of an instance beside its name and master (docs/glossary.md).
struct KEP_INSTANCE_PROPERTIES {
  bool m_has_inst_header = false;        ///< its outputs may become nodes
  bool m_has_trait_0 = false;            ///< KEP_INSTANCE::TRAIT::TRAIT_0
  bool m_is_blc_atom = false;            ///< a BLC atom
  bool m_is_blc_inserted_buffer = false; ///< a BLC inserted buffer
};

/// Gathers a model, then freezes it: the only way to a KEP_DB. A builder is used once, by one thread.
///
///     KEP_DB_BUILDER builder;
///     const KEP_MODULE_ID mux = builder.add_module("MUX", {});
///     builder.add_port(mux, "i", KEP_PORT_DIRECTION::INPUT);
///     const KEP_MODULE_ID top = builder.add_module("TOP", {});
///     KEP_INSTANCE_PROPERTIES cell;
///     cell.m_has_inst_header = true;
///     const KEP_INSTANCE_ID m = builder.add_instance(top, "m", mux, cell);
///     const KEP_NET_ID n = builder.add_net(top, "n");
///     builder.connect(top, m, 0, n);
///     std::unique_ptr<KEP_DB> db = KEP_DB_BUILDER::freeze(std::move(builder));
///
/// Order is kept: modules, ports, instances and nets are numbered as they come. A net's members stand in the
/// order of the model, not of the calls. Order of calls is free but for this: a thing is added before it is
/// named in another call, and the ports of a master before an instance of it is connected. A fault of the
/// caller is an assertion that names the operation: an id of another builder or module or none at all, a port
/// that is not there, a builder that was frozen or moved from. A name that holds a NUL is a KEP_DB_ERROR at
/// once, all else that can't be in a model one of freeze().
class KEP_EXPORT KEP_DB_BUILDER {
public:
  KEP_DB_BUILDER();
  ~KEP_DB_BUILDER();
  ///@{
  /// Leaves a builder behind that is used up.
  KEP_DB_BUILDER(KEP_DB_BUILDER&&) noexcept;
  KEP_DB_BUILDER& operator=(KEP_DB_BUILDER&&) noexcept;
  ///@}

  /// A new module without contents. The key is unique in the design, and what messages name.
  KEP_MODULE_ID add_module(std::string_view key, const KEP_MODULE_PROPERTIES& properties);
  /// A new port; its index is the number of ports that the module had.
  unsigned add_port(KEP_MODULE_ID module, std::string_view name, KEP_PORT_DIRECTION direction,
                    int blc_re_index = -1, std::string_view blc_icd_port_name = {});
  /// Replaces what add_port was told of the BLC.
  void set_port_blc(KEP_MODULE_ID module, unsigned port, int blc_re_index,
                    std::string_view blc_icd_port_name);
  /// A new instance of a module, which may get its ports and contents later. The instance is one of the
  /// equivalents of its master, too.
  KEP_INSTANCE_ID add_instance(KEP_MODULE_ID parent, std::string_view name, KEP_MODULE_ID master,
                               const KEP_INSTANCE_PROPERTIES& properties);
  /// A new net without members. Names of nets need not be unique.
  KEP_NET_ID add_net(KEP_MODULE_ID module, std::string_view name);
  /// Gives a net another name.
  void set_net_name(KEP_MODULE_ID module, KEP_NET_ID net, std::string_view name);
  /// Puts a port of the module on a net of the same module. A later call for the same port moves it.
  void connect(KEP_MODULE_ID module, unsigned port, KEP_NET_ID net);
  /// Puts the inst port that mirrors the master's port `port` on a net of the module.
  void connect(KEP_MODULE_ID module, KEP_INSTANCE_ID instance, unsigned port, KEP_NET_ID net);

  /// Checks the whole model, numbers it and lays out its unfolded hierarchy. A net whose only member is one
  /// port of its module is dropped, as is one without members: nothing is behind such a port.
  ///
  /// KEP_DB_ERROR with the place inside the model and the reason when a rule is broken: a key, a port or an
  /// instance twice; a name that is empty or holds "/", ":" or a control character; a hierarchy that contains
  /// itself or is over 2048 levels deep; no top or several; equivalents whose ports differ; more occurrences
  /// than can be numbered or held in memory.
  static std::unique_ptr<KEP_DB> freeze(KEP_DB_BUILDER&& builder);

private:
  friend class KEP_DATABASE_RESTORER;
  friend class KEP_MODEL_FREEZER;
  struct MODEL;
  MODEL& get_model(const char* operation) const;
  std::unique_ptr<MODEL> m_model;
};
