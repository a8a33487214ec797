// A snapshot of the interface, with whole type names. The numbered version is frozen: a change of the
// interface becomes a new version.

package vendor.tav.lumvndhal_aidl;
@VintfStability
parcelable LumvndhalGenericData {
  int data_size;
  String data;
}
