// A snapshot of the interface, with whole type names. The numbered version is frozen: a change of the
// interface becomes a new version.

package vendor.tav.lumvndhal_aidl;
@VintfStability
interface ILumvndhal {
  boolean configure(in android.hardware.common.fmq.MQDescriptor<byte,android.hardware.common.fmq.SynchronizedReadWrite> desc);
  boolean request_read(in String path, int count);
  int get_vnd_data(in String cmd, out vendor.tav.lumvndhal_aidl.LumvndhalGenericData vnd_data);
  int set_vnd_data(in String cmd, in String param);
  int update_vendor_dropbox(in String path, boolean create);
  boolean write_data_to_vendor_dropbox(in String spath, in byte[] data, int length);
}
