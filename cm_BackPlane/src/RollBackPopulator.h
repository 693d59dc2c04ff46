#pragma once

#include <string>
#include <vector>

class UpdRollbackWrapper;

/// Hands payload files to the server's rollback partition.
class CRollBackPopulator {
 public:
  /// `wrapper` stays the caller's and must outlive the populator; a null one makes every call fail.
  explicit CRollBackPopulator(UpdRollbackWrapper* wrapper);
  virtual ~CRollBackPopulator() = default;
  CRollBackPopulator(const CRollBackPopulator&) = delete;
  CRollBackPopulator& operator=(const CRollBackPopulator&) = delete;

  /// Registers every file, in order, and then writes the partition. Returns 0 on success; the library's
  /// status when it refused a file (the partition is then not written) or the writing; the code (0 to 255)
  /// when it threw one; -1 when it threw anything else; 1 without a wrapper. Nothing is thrown.
  int PopulateRollbackPartition(const std::vector<std::string>& files);

 private:
  /// Likewise, with what the library throws let through.
  int addAndUpdate(const std::vector<std::string>& files);

  UpdRollbackWrapper* m_pUpdRollbackWrapper;
};
