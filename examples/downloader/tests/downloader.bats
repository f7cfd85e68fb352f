load box

@test "pauses, resumes and completes a download, and deletes another" {
  box expect output downloader '^They are equal\.$' --within 15s
  box expect download complete --of downloader
  box expect download removed --of downloader
  box expect no process downloader --within 500ms
}
