// The policy tree of the policy store as objects of the policy library: rules below the root rule,
// their conditions and tasks, the tasks' attributes and outcomes.
//
// For programs that work on the policy store beside the migration, the console's and the gateway's
// own. The importers use none of it: they write the tree's keys through the registry.
//
// Every operation on a rule comes in two forms: one takes an open rule's handle, the other the
// rule's name, as openRule takes it, and opens and closes the rule itself. Outcomes are reached by
// an open task's handle besides. Results are negative for failure, else 0 unless stated; a failure
// leaves its text in the error record. Enumerations append, in the order of creation.
#pragma once

#include "policyhive.h"

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

class NvRuleHive : public zeva::PolicyHive {
 public:
  using Texts = std::vector<std::string>;
  using Outcomes = std::map<std::string, std::string>;  // finding to classification

  // No hive open.
  NvRuleHive() { open_catalogue(); }
  // As setfile.
  NvRuleHive(std::string const& key, std::string const& file);
  // Closes root rule and hive; the changes are then visible to other processes.
  ~NvRuleHive();

  // Opens the hive on the key `key` ("registry\policy") of the registry at the address `file`
  // ("ZEVA:5069") and its root rule, in place of what was open.
  void setfile(std::string const& key, std::string const& file);
  long closeRuleHive();

  // The root rule's handle, ours; null when none is open.
  _NvPolComHandle* getRootRule() const { return root_; }
  // A name without a backslash is that of a rule right below the root rule, one with a backslash
  // the path from the root rule down ("\Sales\Team", "\" for the root rule itself). Returns a
  // handle for closeRule, or null.
  [[nodiscard]] _NvPolComHandle* openRule(std::string const& name);
  long closeRule(_NvPolComHandle* rule);
  long closeTask(_NvPolComHandle* task);

  // Create a rule for one pair of sender and recipient, or for up to 100 of them in two lists of
  // equal length. `created` receives its handle, for closeRule. At most 256 bytes of the display
  // name and of the comment are stored, 512 of each side of a pair.
  [[nodiscard]] long createRule(_NvPolComHandle*& created, _NvPolComHandle* parent,
                                std::string const& name, std::string const& displayName,
                                std::string const& comment, std::string const& from,
                                std::string const& to);
  [[nodiscard]] long createRule(_NvPolComHandle*& created, std::string const& parent,
                                std::string const& name, std::string const& displayName,
                                std::string const& comment, std::string const& from,
                                std::string const& to);
  [[nodiscard]] long createRule(_NvPolComHandle*& created, _NvPolComHandle* parent,
                                std::string const& name, std::string const& displayName,
                                std::string const& comment, Texts const& from, Texts const& to);
  [[nodiscard]] long createRule(_NvPolComHandle*& created, std::string const& parent,
                                std::string const& name, std::string const& displayName,
                                std::string const& comment, Texts const& from, Texts const& to);

  // With its tasks and all rules below it.
  [[nodiscard]] long deleteRule(_NvPolComHandle* parent, std::string const& name);
  [[nodiscard]] long deleteRule(std::string const& parent, std::string const& name);

  // The names of the rules right below; none is a failure. Without a parent, below the root rule.
  [[nodiscard]] long GetAllSubRuleName(_NvPolComHandle* parent, Texts& names);
  [[nodiscard]] long GetAllSubRuleName(std::string const& parent, Texts& names);
  [[nodiscard]] long GetAllSubRuleName(Texts& names);

  [[nodiscard]] long GetRuleAttrib(_NvPolComHandle* rule, _NvPolRuleAttr& attr);
  [[nodiscard]] long GetRuleAttrib(std::string const& rule, _NvPolRuleAttr& attr);
  [[nodiscard]] long SetRuleAttrib(_NvPolComHandle* rule, _NvPolRuleAttr const& attr);
  [[nodiscard]] long SetRuleAttrib(std::string const& rule, _NvPolRuleAttr const& attr);

  // Orders count from 1; siblings keep theirs.
  [[nodiscard]] long setruleorder(_NvPolComHandle* parent, std::string const& rule, int32_t order);
  [[nodiscard]] long setruleorder(std::string const& parent, std::string const& rule,
                                  int32_t order);
  [[nodiscard]] long settaskorder(_NvPolComHandle* rule, std::string const& task, int32_t order);
  [[nodiscard]] long settaskorder(std::string const& rule, std::string const& task, int32_t order);

  [[nodiscard]] long AddCondition(_NvPolComHandle* rule, std::string const& from,
                                  std::string const& to);
  [[nodiscard]] long AddCondition(std::string const& rule, std::string const& from,
                                  std::string const& to);
  [[nodiscard]] long RemoveCondition(_NvPolComHandle* rule, std::string const& from,
                                     std::string const& to);
  [[nodiscard]] long RemoveCondition(std::string const& rule, std::string const& from,
                                     std::string const& to);
  // Two parallel lists. A condition that is empty on both sides is left out and a failure.
  [[nodiscard]] long GetAllConditions(_NvPolComHandle* rule, Texts& from, Texts& to);
  [[nodiscard]] long GetAllConditions(std::string const& rule, Texts& from, Texts& to);

  // The new task is disabled and may not be overridden; its order is 0.
  [[nodiscard]] long createTask(_NvPolComHandle* rule, std::string const& name,
                                std::string const& displayName, std::string const& comment,
                                uint32_t filter);
  [[nodiscard]] long createTask(std::string const& rule, std::string const& name,
                                std::string const& displayName, std::string const& comment,
                                uint32_t filter);
  [[nodiscard]] long deleteTask(_NvPolComHandle* rule, std::string const& name);
  [[nodiscard]] long deleteTask(std::string const& rule, std::string const& name);
  [[nodiscard]] long GetAllTaskName(_NvPolComHandle* rule, Texts& names);
  [[nodiscard]] long GetAllTaskName(std::string const& rule, Texts& names);
  [[nodiscard]] long GetTaskAttrib(_NvPolComHandle* rule, std::string const& task,
                                   _NvPolTaskAttr& attr);
  [[nodiscard]] long GetTaskAttrib(std::string const& rule, std::string const& task,
                                   _NvPolTaskAttr& attr);
  [[nodiscard]] long SetTaskAttrib(_NvPolComHandle* rule, std::string const& task,
                                   _NvPolTaskAttr const& attr);
  [[nodiscard]] long SetTaskAttrib(std::string const& rule, std::string const& task,
                                   _NvPolTaskAttr const& attr);
  // The attributes of all tasks, up to the first that cannot be read.
  [[nodiscard]] long GetTasksAttrib(_NvPolComHandle* rule, std::vector<_NvPolTaskAttr>& attrs);
  [[nodiscard]] long GetTasksAttrib(std::string const& rule, std::vector<_NvPolTaskAttr>& attrs);

  // Makes a task of the rule, or one that it inherits, inactive there or active again.
  [[nodiscard]] long inactivetask(_NvPolComHandle* rule, std::string const& task, bool inactive);
  [[nodiscard]] long inactivetask(std::string const& rule, std::string const& task, bool inactive);
  // 1 or 0.
  [[nodiscard]] long istaskactive(_NvPolComHandle* rule, std::string const& task);
  [[nodiscard]] long istaskactive(std::string const& rule, std::string const& task);

  // An outcome that exists is replaced. addoutcomes adds in the map's order, up to the first that
  // fails.
  [[nodiscard]] long addoutcome(_NvPolComHandle* task, std::string const& name,
                                std::string const& value);
  [[nodiscard]] long addoutcome(_NvPolComHandle* rule, std::string const& task,
                                std::string const& name, std::string const& value);
  [[nodiscard]] long addoutcome(std::string const& rule, std::string const& task,
                                std::string const& name, std::string const& value);
  [[nodiscard]] long addoutcomes(_NvPolComHandle* task, Outcomes const& outcomes);
  [[nodiscard]] long addoutcomes(_NvPolComHandle* rule, std::string const& task,
                                 Outcomes const& outcomes);
  [[nodiscard]] long addoutcomes(std::string const& rule, std::string const& task,
                                 Outcomes const& outcomes);
  [[nodiscard]] long deleteoutcome(_NvPolComHandle* task, std::string const& name);
  [[nodiscard]] long deleteoutcome(_NvPolComHandle* rule, std::string const& task,
                                   std::string const& name);
  [[nodiscard]] long deleteoutcome(std::string const& rule, std::string const& task,
                                   std::string const& name);
  // Adds all outcomes of the task to the map.
  [[nodiscard]] long getoutcomes(_NvPolComHandle* task, Outcomes& outcomes);
  [[nodiscard]] long getoutcomes(_NvPolComHandle* rule, std::string const& task,
                                 Outcomes& outcomes);
  [[nodiscard]] long getoutcomes(std::string const& rule, std::string const& task,
                                 Outcomes& outcomes);
  // Looks up the value of each name that the map holds: "void" for an outcome that the task does
  // not have.
  [[nodiscard]] long getoutcome(_NvPolComHandle* task, Outcomes& outcomes);
  [[nodiscard]] long getoutcome(_NvPolComHandle* rule, std::string const& task, Outcomes& outcomes);
  [[nodiscard]] long getoutcome(std::string const& rule, std::string const& task,
                                Outcomes& outcomes);

 private:
  template <class Work>
  long with_rule(std::string const& name, Work work);
  template <class Work>
  long with_task(_NvPolComHandle* rule, std::string const& task, Work work);
  struct OrderCall {
    std::string operation;
    void (*function)(_NvPolComHandle*, char const*, int32_t, int32_t*);
    char const* name;
  };
  long set_order(OrderCall const& call, _NvPolComHandle* parent, std::string const& name,
                 int32_t order);
  bool pairs_fit(Texts const& from, Texts const& to);

  _NvPolComHandle* root_ = nullptr;
};

// Print a record to standard output, a line for each attribute.
void printTaskattr(_NvPolTaskAttr const& attr);
void printRuleattr(_NvPolRuleAttr const& attr);
