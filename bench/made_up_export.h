// Exports of any size, in the shapes that grow on a gateway, and the same ones each time.
#pragma once

#include "scratch.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace zeva {

// The example with so many values, about: a third of them addresses in three groups, a third
// entries of the white and black lists, the rest policies three levels deep, patterns of an extra
// filter and single values. Addresses and policies make the values that their names and order are
// stored in besides.
class MadeUpExport {
 public:
  MadeUpExport(std::string folder, int values) : folder_(std::move(folder)) {
    namespace fs = std::filesystem;
    fs::copy(EXAMPLE_FOLDER, folder_, fs::copy_options::recursive);
    fs::create_directories(folder_ + "/policies");
    int const third = values / 3;
    addresses(third);
    lists(third);
    policies(values / 6 / kValuesOfPolicy);
    patterns(values / 12);
    single_values(values / 12);
  }

  // Single values as long as the store takes them, in place of those that are there.
  void put_long_texts(int count) {
    std::ofstream values = file("misc.txt");
    values << "[common]\nSectionNum=1:" << count << '\n';
    for (int i = 1; i <= count; ++i)
      values << "[Section" << i << "]\nKeyName=2:registry\\config\\Console\\Texts\nValueName=2:Text"
             << i << "\nValue=2:" << std::string(2000, static_cast<char>('a' + i % 26)) << '\n';
  }

  // Of the files' sizes.
  [[nodiscard]] uintmax_t largest() const {
    uintmax_t size = 0;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(folder_))
      if (entry.is_regular_file()) size = std::max(size, entry.file_size());
    return size;
  }

 private:
  static constexpr int kGroups = 3;
  static constexpr int kValuesOfPolicy = 8;
  static constexpr int kPoliciesOfPolicy = 14;

  [[nodiscard]] std::ofstream file(std::string const& name,
                                   std::ios::openmode mode = std::ios::trunc) const {
    return std::ofstream(folder_ + "/" + name, std::ios::out | mode);
  }

  std::string number() { return std::to_string(random_() % 1000000); }
  std::string address() { return "user" + number() + "@host" + number() + ".example.com"; }

  void addresses(int count) {
    std::ofstream groups = file("address.txt");
    groups << "[common]\nNum=1:" << kGroups << '\n';
    for (int group = 1; group <= kGroups; ++group) {
      groups << "[addressList" << group << "]\nName=2:Group" << group << "\ndisplayName=2:Group "
             << group << "\ncomment=2:\naddress=2:" << address();
      for (int i = kGroups; i + group <= count; i += kGroups) groups << ';' << address();
      groups << '\n';
    }
  }

  // A section that stands twice counts as the later one.
  void lists(int count) {
    std::ofstream task = file("tasks/antispam.txt", std::ios::app);
    int const half = count / 2;
    task << "[blackwhitelist]\nactive=1:1\nsize_editWL=1:" << half << "\nsize_noEditWL=1:0\n"
         << "size_editBL=1:" << half << "\nsize_noEditBL=1:0\nsize_subsWL=1:0\nsize_subsBL=1:0\n";
    for (char const* list : {"WL", "BL"}) {
      for (int i = 1; i <= half; ++i)
        task << "l_edit" << list << '_' << i << "=3:" << address() << ";*@example.com;request "
             << number() << '\n';
    }
  }

  // Policy 0 is the top one; below policy n are n * 14 + 1 and its neighbours.
  void policies(int count) {
    for (int policy = 0; policy <= count; ++policy) {
      int const first = policy * kPoliciesOfPolicy + 1;
      int const below = std::clamp(count + 1 - first, 0, kPoliciesOfPolicy);
      std::ofstream text = file(policy == 0 ? "globalPolicy.txt" : file_of(policy));
      text << "[common]\nname=2:" << name_of(policy) << "\ncomment=2:\ndisplayName=2:Policy "
           << policy << "\norder=1:" << policy
           << "\nmatchType=1:0\nconditionNum=1:2\ninactiveNum=1:1\nsubPolicyNum=1:" << below
           << "\ntaskNum=1:" << (policy == 0 ? 2 : 0) << "\n[condition]\ncondition1=2:" << address()
           << ";*\ncondition2=2:*;" << address() << "\n[inactive]\ninactive1=2:AntiSpam\n"
           << "[task1]\nfilename=2:tasks/virus.txt\n[task2]\nfilename=2:tasks/antispam.txt\n";
      for (int i = 0; i < below; ++i)
        text << "[policy" << i + 1 << "]\nname=2:" << name_of(first + i)
             << "\nfilename=2:" << file_of(first + i) << '\n';
    }
  }

  static std::string name_of(int policy) {
    return policy == 0 ? "Mail" : "Policy" + std::to_string(policy);
  }
  static std::string file_of(int policy) {
    return "policies/policy" + std::to_string(policy) + ".txt";
  }

  void patterns(int count) {
    std::ofstream filters = file("xfilter.txt");
    filters << "[common]\nenable=1:1\nfilterNum=1:1\n[filter1]\nName=2:Words\nLocation=1:3\n"
            << "CaseSensitive=1:0\npatternNum=1:" << count << "\n[filter1_pattern]\n";
    for (int i = 0; i < count; ++i)
      filters << "Pattern" << i << "=2:offer " << number() << ", only " << number() << '\n';
  }

  void single_values(int count) {
    std::ofstream values = file("misc.txt");
    values << "[common]\nSectionNum=1:" << count << '\n';
    for (int i = 1; i <= count; ++i)
      values << "[Section" << i << "]\nKeyName=2:registry\\config\\Console\\Page" << i / 20
             << "\nValueName=2:Setting" << i << "\nValue=1:" << number() << '\n';
  }

  std::string const folder_;
  std::mt19937 random_{1};
};

}  // namespace zeva
