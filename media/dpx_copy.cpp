#include "media/dpx_copy.h"

#include "base/error.h"
#include "files/paths.h"
#include "media/dpx_header.h"

CLuCopyDPXFileWithTimeCode::CLuCopyDPXFileWithTimeCode(
    CLuTimeCode tcOffset, CLuString const& strDestinationRoot,
    CLuString const& strNamePattern, bool bKeepSourceFolder)
    : m_tcOffset(tcOffset),
      m_strNamePattern(strNamePattern),
      m_strDestinationRoot(strDestinationRoot),
      m_bKeepSourceFolder(bKeepSourceFolder) {}

CLuCopyDPXFileWithTimeCode::~CLuCopyDPXFileWithTimeCode() {}

void CLuCopyDPXFileWithTimeCode::Copy(CLuString const& strSourcePath) const {
  // A file that cannot be read as an unencrypted DPX file is not copied;
  // the header's own error says why.
  CLuDPXHeader oHeader;
  oHeader.ReadFromFile(strSourcePath);

  CLuString strFolder, strName, strExtension;
  LuSplitPath(strSourcePath, nullptr, &strFolder, &strName, &strExtension);

  // The header word carries no rate: it counts at the offset's rate, or at
  // 24 when the offset has none.
  CLuTimeCode tc = oHeader.tcHeaderTimeCode();
  tc.SetFps(m_tcOffset.dFps > 1e-9 ? m_tcOffset.dFps : 24.0, false);
  tc += m_tcOffset.iFramesSinceMidnight();

  CLuString strResult(m_strNamePattern);
  strResult.bReplaceAll("%t", tc.strAsString(CLuTimeCode::eFormatPlain));
  strResult.bReplaceAll("%p", strFolder);
  strResult.bReplaceAll("%f", strName);
  strResult.EnforceAlphaNumeric('_');
  if (m_bKeepSourceFolder)
    strResult =
        strLuCombinePath(CLuString(), strFolder, strResult, CLuString());
  // Whatever comes below the root stays below it.
  char const cFirst = strResult.cGetAt(0);
  if (cFirst == '\\' || cFirst == '/')
    strResult = CLuString(strResult.pszGetString() + 1);

  CLuString const strDestination = strLuCombinePath(
      CLuString(), m_strDestinationRoot, strResult, strExtension);

  CLuString strDestinationDrive, strDestinationFolder;
  LuSplitPath(strDestination, &strDestinationDrive, &strDestinationFolder,
              nullptr, nullptr);
  CLuString strFolderPath(strDestinationDrive);
  strFolderPath += strDestinationFolder;
  if (!bLuCreateFolderTree(strFolderPath)) {
    CLuString strMessage("Failed to create destination path ");
    strMessage += strFolderPath;
    throw CLuError(strMessage, eError, CLuString());
  }

  if (!bLuCopyFile(strSourcePath, strDestination, false)) {
    CLuString strMessage("Failed to copy ");
    strMessage += strSourcePath;
    strMessage += " to ";
    strMessage += strDestination;
    throw CLuError(strMessage, eError, CLuString());
  }
}
